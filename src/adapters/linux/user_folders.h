// Where the user's files of this process belong.
#pragma once

#include <string>

namespace quillfold {

// $XDG_DATA_HOME, or ".local/share" in the user's home. Absolute; it need not
// exist. The home is $HOME or else the account's; without either it is "/".
std::string userDataFolder();

// $XDG_CONFIG_HOME, or ".config" in the user's home.
std::string userConfigurationFolder();

}  // namespace quillfold
