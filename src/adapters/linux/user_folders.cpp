#include "adapters/linux/user_folders.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

namespace quillfold {

namespace {

// The variable's value if it is an absolute path; the others are to be ignored.
std::string absolutePathIn(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value == '/' ? value : std::string();
}

std::string homeOfAccount() {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
  return found != nullptr && *found->pw_dir == '/' ? found->pw_dir : "/";
}

std::string folder(const char* variable, const char* inHome) {
  if (std::string path = absolutePathIn(variable); !path.empty()) return path;
  return (std::filesystem::path(userHomeFolder()) / inHome).string();
}

}  // namespace

std::string userHomeFolder() {
  std::string home = absolutePathIn("HOME");
  return home.empty() ? homeOfAccount() : home;
}

std::string userDataFolder() {
  return folder("XDG_DATA_HOME", ".local/share");
}
std::string userConfigurationFolder() {
  return folder("XDG_CONFIG_HOME", ".config");
}

}  // namespace quillfold
