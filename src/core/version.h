// The version of the library.
#pragma once

#include "foundation/export.h"

namespace quillfold {

// Major and minor version as one number: 1.2 for 1.2.3.
QUILLFOLD_EXPORT extern const double QuillfoldKitVersionNumber;
// The full version, such as "1.2.3".
QUILLFOLD_EXPORT extern const char* const QuillfoldKitVersionString;

}  // namespace quillfold
