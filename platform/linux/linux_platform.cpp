#include "platform/linux/linux_platform.h"

#include <cstdio>

namespace quillfold {

namespace {

class StderrLog : public LogSink {
 public:
  void plain(std::string_view line) override {
    std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
  }
  void leveled(LogLevel, std::string_view, std::string_view, std::string_view line) override {
    plain(line);
  }
};

}  // namespace

Platform makeLinuxPlatform(LinuxConfiguration) {
  Platform platform;
  platform.log = std::make_shared<StderrLog>();
  return platform;
}

}  // namespace quillfold
