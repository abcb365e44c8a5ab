#pragma once

#include "combaseapi.h"
