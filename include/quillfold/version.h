// The version of the library.
// Component core.
#pragma once

#include "core/version.h"
