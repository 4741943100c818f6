#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <map>
#include <vector>

#include "adapters/icu/locale.h"
#include "adapters/linux/system.h"

namespace quillfold {

namespace {

namespace fs = std::filesystem;

utsname systemNames() {
  utsname names{};
  ::uname(&names);
  return names;
}

// The first line of a file of the kernel's; empty if there is none.
std::string firstLine(const fs::path& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

// A value as a shell would read it: quotes taken off, backslashes resolved.
std::string unquoted(std::string_view text) {
  std::string out;
  char quote = '\0';
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\' && quote != '\'' && i + 1 < text.size()) {
      out += text[++i];
    } else if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == quote) {
      quote = '\0';
    } else {
      out += c;
    }
  }
  return out;
}

std::map<std::string, std::string> readRelease(const std::string& root) {
  std::ifstream file(root + "/etc/os-release");
  if (!file) file.open(root + "/usr/lib/os-release");
  std::map<std::string, std::string> entries;
  for (std::string line; std::getline(file, line);) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos || line.front() == '#') continue;
    entries[line.substr(0, equals)] = unquoted(std::string_view(line).substr(equals + 1));
  }
  return entries;
}

// The folder of the device's own battery; those of mice and headsets have the
// scope "Device".
std::optional<fs::path> findBattery(const std::string& root) {
  std::error_code error;
  std::vector<fs::path> supplies;
  for (fs::directory_iterator it(root + "/sys/class/power_supply", error), end; it != end;
       it.increment(error)) {
    supplies.push_back(it->path());
  }
  std::sort(supplies.begin(), supplies.end());
  for (const fs::path& supply : supplies) {
    if (firstLine(supply / "type") == "Battery" && firstLine(supply / "scope") != "Device") {
      return supply;
    }
  }
  return std::nullopt;
}

// A line that the battery's folder holds; "" without a battery.
std::string batteryLine(const std::string& root, const char* name) {
  const auto battery = findBattery(root);
  return battery ? firstLine(*battery / name) : std::string();
}

std::optional<std::uint64_t> positive(long value) {
  if (value <= 0) return std::nullopt;
  return static_cast<std::uint64_t>(value);
}

class LinuxDeviceData : public DeviceData {
 public:
  LinuxDeviceData(std::optional<UIScreen> screen, NSBundle bundle, std::string root)
      : screen_(screen), bundle_(std::move(bundle)), root_(std::move(root)) {}

  std::string machine() override { return systemNames().machine; }
  std::string systemName() override { return releaseEntry("NAME", systemNames().sysname); }
  std::string systemVersion() override {
    // A distribution without releases has no version but the kernel's.
    return releaseEntry("VERSION_ID", systemNames().release);
  }

  // The kernel's files can be read at any time.
  void setBatteryMonitoringEnabled(bool) override {}

  float batteryLevel() override {
    const std::string text = batteryLine(root_, "capacity");
    int percent = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), percent);
    if (error != std::errc() || percent < 0) return -1;
    return static_cast<float>(std::min(percent, 100)) / 100.0F;
  }

  std::int64_t batteryState() override {
    const std::string status = batteryLine(root_, "status");
    if (status == "Charging") return UIDeviceBatteryStateCharging;
    if (status == "Full") return UIDeviceBatteryStateFull;
    // "Not charging" is a battery held below its limit on mains: what matters is
    // that nothing goes in.
    if (status == "Discharging" || status == "Not charging") return UIDeviceBatteryStateUnplugged;
    return UIDeviceBatteryStateUnknown;
  }

  std::optional<UIScreen> mainScreen() override { return screen_; }
  NSBundle mainBundle() override { return bundle_; }

  std::string localeIdentifier() override { return defaultLocaleIdentifier(); }
  std::string timeZoneName() override { return localTimeZoneName(); }

  std::optional<std::uint64_t> physicalMemory() override {
    const auto pages = positive(sysconf(_SC_PHYS_PAGES));
    const auto pageSize = positive(sysconf(_SC_PAGESIZE));
    if (!pages || !pageSize) return std::nullopt;
    return *pages * *pageSize;
  }
  std::optional<std::uint64_t> processorCount() override {
    return positive(sysconf(_SC_NPROCESSORS_CONF));
  }

 private:
  std::string releaseEntry(const std::string& key, const char* otherwise) {
    const auto entries = readRelease(root_);
    const auto it = entries.find(key);
    return it == entries.end() || it->second.empty() ? otherwise : it->second;
  }

  const std::optional<UIScreen> screen_;
  const NSBundle bundle_;
  const std::string root_;
};

}  // namespace

std::shared_ptr<DeviceData> makeDeviceData(std::optional<UIScreen> screen, NSBundle bundle,
                                           std::string root) {
  return std::make_shared<LinuxDeviceData>(screen, std::move(bundle), std::move(root));
}

}  // namespace quillfold
