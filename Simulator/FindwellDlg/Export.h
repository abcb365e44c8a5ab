// How a function is shown to the programs that load this library, under its plain C name.
#pragma once

#ifdef _WIN32
#define FINDWELL_EXPORT extern "C" __declspec(dllexport)
#else
#define FINDWELL_EXPORT extern "C" __attribute__((visibility("default")))
#endif
