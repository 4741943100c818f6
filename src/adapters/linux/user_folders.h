// Where the user's files of this process belong.
#pragma once

#include <string>

#include "foundation/export.h"

namespace quillfold {

// $HOME or else the account's; without either "/".
QUILLFOLD_EXPORT_INTERNAL std::string userHomeFolder();

// $XDG_DATA_HOME, or ".local/share" in the user's home. Absolute; it need not
// exist.
QUILLFOLD_EXPORT_INTERNAL std::string userDataFolder();

// $XDG_CONFIG_HOME, or ".config" in the user's home.
std::string userConfigurationFolder();

}  // namespace quillfold
