#include "adapters/linux/local_platform.h"

#include "adapters/asio/main_queue.h"
#include "adapters/asio/task_scheduler.h"
#include "adapters/asio/thread_pool_queue.h"
#include "adapters/linux/property_list_defaults.h"
#include "adapters/linux/system.h"
#include "adapters/linux/user_folders.h"

namespace quillfold {

namespace {

std::string orElse(const std::string& folder, std::string (*fallback)()) {
  return folder.empty() ? fallback() : folder;
}

}  // namespace

Platform makeLocalPlatform(LocalConfiguration configuration) {
  const std::string defaultsFile =
      orElse(configuration.configurationFolder, userConfigurationFolder) + '/' +
      configuration.applicationIdentifier + "/defaults.plist";

  Platform platform;
  platform.clock = makeSystemClock();
  platform.mainQueue = std::make_shared<LinuxMainQueue>();
  platform.globalQueue = makeThreadPoolQueue();
  platform.log = makeStderrLog();
  platform.files = makeFileManager(orElse(configuration.dataFolder, userDataFolder) + '/' +
                                   configuration.applicationIdentifier);
  platform.userDefaults = makePropertyListDefaults(defaultsFile, platform.files);
  platform.device = makeDeviceData(configuration.screen, configuration.bundle);
  platform.notifications = std::make_shared<NSNotificationCenter>();
  platform.backgroundTasks = std::make_shared<LinuxTaskScheduler>(
      platform.clock, TaskSchedulerOptions{.networkIsUp = configuration.networkIsUp});
  platform.userInterface = configuration.userInterface;
  return platform;
}

}  // namespace quillfold
