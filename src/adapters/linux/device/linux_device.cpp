#include "adapters/linux/device/linux_device.h"

#include <stdexcept>

#include "adapters/asio/main_queue.h"
#include "adapters/curl/curl_session.h"
#include "adapters/linux/system.h"
#include "adapters/linux/user_folders.h"

namespace quillfold {

namespace {

std::string expanded(const std::string& path) {
  const bool home = path == "~" || path.starts_with("~/");
  return home ? userHomeFolder() + path.substr(1) : path;
}

LinuxConfiguration configurationOf(const Linux& device) {
  LinuxConfiguration configuration;
  configuration.applicationIdentifier = device.applicationIdentifier;
  configuration.configurationFolder = expanded(device.home);
  configuration.dataFolder = expanded(device.home);
  configuration.addressBook = expanded(device.addressBook);
  configuration.accessQuestion = device.accessQuestion;
  if (!configuration.accessQuestion && !device.addressBook.empty()) {
    configuration.accessQuestion = [](const auto& answer) { answer(true); };
  }
  configuration.backend = device.backend;
  configuration.connectTo = device.connectTo;
  configuration.proxy = device.proxy;
  configuration.idleTimeout = device.idleTimeout;
  configuration.requestTimeout = device.requestTimeout;
  configuration.certificateFile = expanded(device.certificateFile);
  configuration.networkIsUp = device.networkIsUp;
  configuration.userInterface = device.userInterface;
  configuration.labels = device.labels;
  return configuration;
}

}  // namespace

bool Linux::install(Linux& device) {
  if (!device.backend.empty() && !isWebOrigin(device.backend)) {
    throw std::invalid_argument("The backend is no http or https origin: " + device.backend);
  }
  Platform platform = makeLinuxPlatform(configurationOf(device));
  if (!device.mainQueue) device.mainQueue = device.queue = std::make_shared<LinuxMainQueue>();
  platform.mainQueue = device.mainQueue;
  platform.log =
      device.log ? device.log : makeStderrLog(device.logLevel, device.logLevel == LogLevel::Debug);
  if (device.adjust) device.adjust(platform);
  if (!Platform::install(std::move(platform))) {
    throw std::logic_error("A platform is in use already");
  }
  return true;
}

}  // namespace quillfold
