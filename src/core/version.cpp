#include "core/version.h"

namespace quillfold {

const double QuillfoldKitVersionNumber = QUILLFOLD_VERSION_NUMBER;
const char* const QuillfoldKitVersionString = QUILLFOLD_VERSION_STRING;

}  // namespace quillfold
