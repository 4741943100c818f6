// Everything that a host on Linux uses of Quillfold: components core, vcard, curl and linux.
#pragma once

#include "quillfold/linux.h"
