// How a function is exported under its plain C name.
#pragma once

#define FINDWELL_EXPORT extern "C" __declspec(dllexport)
