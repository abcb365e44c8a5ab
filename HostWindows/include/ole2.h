#pragma once

#include "objbase.h"
#include "oleauto.h"

extern "C" {
/// Does nothing for an object that runs in process.
HRESULT OleRun(LPUNKNOWN object);
}
