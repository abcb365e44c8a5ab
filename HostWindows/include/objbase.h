#pragma once

#include "combaseapi.h"

extern "C" {
/// CoInitializeEx for COINIT_APARTMENTTHREADED.
HRESULT CoInitialize(LPVOID reserved);
}
