// The version of the library.
#pragma once

#include "core/version.h"
