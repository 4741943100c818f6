#include "adapters/linux/linux_platform.h"

#include "adapters/asio/main_queue.h"
#include "adapters/asio/task_scheduler.h"
#include "adapters/asio/thread_pool_queue.h"
#include "adapters/curl/curl_session.h"
#include "adapters/linux/property_list_defaults.h"
#include "adapters/linux/system.h"
#include "adapters/linux/user_folders.h"
#include "adapters/linux/vcard_contacts.h"

namespace quillfold {

namespace {

std::string orElse(const std::string& folder, std::string (*fallback)()) {
  return folder.empty() ? fallback() : folder;
}

}  // namespace

Platform makeLinuxPlatform(LinuxConfiguration configuration) {
  const std::string dataFolder = orElse(configuration.dataFolder, userDataFolder);
  const std::string defaultsFile =
      orElse(configuration.configurationFolder, userConfigurationFolder) + '/' +
      configuration.applicationIdentifier + "/defaults.plist";

  Platform platform;
  platform.clock = makeSystemClock();
  platform.mainQueue = std::make_shared<LinuxMainQueue>();
  platform.globalQueue = makeThreadPoolQueue();
  platform.log = makeStderrLog();
  platform.files = makeFileManager(dataFolder + '/' + configuration.applicationIdentifier);
  platform.userDefaults = makePropertyListDefaults(defaultsFile, platform.files);
  platform.urlSessions = makeCurlSessionFactory({.certificateFile = configuration.certificateFile,
                                                 .connectTo = configuration.connectTo,
                                                 .origin = configuration.backend,
                                                 .proxy = configuration.proxy,
                                                 .idleTimeout = configuration.idleTimeout,
                                                 .requestTimeout = configuration.requestTimeout});
  platform.device = makeDeviceData(configuration.screen, configuration.bundle);
  platform.notifications = std::make_shared<NSNotificationCenter>();
  platform.backgroundTasks = std::make_shared<LinuxTaskScheduler>(
      platform.clock, TaskSchedulerOptions{.networkIsUp = configuration.networkIsUp});
  platform.userInterface = configuration.userInterface;
  platform.contacts =
      makeVCardContacts({.path = configuration.addressBook.empty() ? dataFolder + "/contacts"
                                                                   : configuration.addressBook,
                         .question = configuration.accessQuestion,
                         .labels = configuration.labels,
                         .defaults = platform.userDefaults,
                         .notifications = platform.notifications,
                         .queue = platform.globalQueue});
  return platform;
}

Platform defaultPlatform() {
  return makeLinuxPlatform(LinuxConfiguration{});
}

}  // namespace quillfold
