#include "adapters/linux/linux_platform.h"

#include "adapters/asio/task_scheduler.h"
#include "adapters/curl/curl_session.h"
#include "adapters/linux/property_list_defaults.h"
#include "adapters/linux/system.h"
#include "adapters/linux/user_folders.h"
#include "adapters/linux/vcard_contacts.h"
#include "foundation/format.h"

namespace quillfold {

namespace {

// For hosts that show nothing.
class NoUserInterface : public UserInterface {
 public:
  void presentAlert(UIViewController&, std::shared_ptr<UIAlertController> alert, bool) override {
    logLine("No user interface to show an alert: {}. {}", alert->title(), alert->message());
  }
  bool canOpenURL(const std::string&) override { return false; }
  void openURL(const std::string&) override {}
};

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
  platform.mainQueue = makeMainQueue();
  platform.globalQueue = makeThreadPoolQueue();
  platform.log = makeStderrLog();
  platform.files = makeFileManager(dataFolder + '/' + configuration.applicationIdentifier);
  platform.userDefaults = makePropertyListDefaults(defaultsFile, platform.files);
  platform.urlSessions = makeCurlSessionFactory(
      {.certificateFile = configuration.certificateFile, .connectTo = configuration.connectTo});
  platform.device = makeDeviceData(configuration.screen, configuration.bundle);
  platform.notifications = std::make_shared<NSNotificationCenter>();
  platform.backgroundTasks = std::make_shared<LinuxTaskScheduler>(
      platform.clock, TaskSchedulerOptions{.networkIsUp = configuration.networkIsUp});
  platform.userInterface = configuration.userInterface ? configuration.userInterface
                                                       : std::make_shared<NoUserInterface>();
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

}  // namespace quillfold
