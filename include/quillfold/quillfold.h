// Everything that a host on Linux uses of Quillfold.
#pragma once

#include "quillfold/linux.h"
