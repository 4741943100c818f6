// The book that `--book desktop` names.
#pragma once

#include "quillfold/quillfold.h"

namespace host {

inline constexpr const char* kDesktopBooks = "desktop";

// Puts the desktop's address books in the place of the platform's. Throws Failure where this
// program was built without them.
void useDesktopBooks(quillfold::Platform& platform, quillfold::AccessQuestion question);

}  // namespace host
