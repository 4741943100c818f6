#include "adapters/linux/device/linux_platform.h"

#include "adapters/curl/curl_session.h"
#include "adapters/linux/user_folders.h"

namespace quillfold {

Platform makeLinuxPlatform(LinuxConfiguration configuration) {
  if (configuration.dataFolder.empty()) configuration.dataFolder = userDataFolder();
  Platform platform = makeLocalPlatform(configuration);
  platform.urlSessions = makeCurlSessionFactory({.certificateFile = configuration.certificateFile,
                                                 .connectTo = configuration.connectTo,
                                                 .origin = configuration.backend,
                                                 .proxy = configuration.proxy,
                                                 .idleTimeout = configuration.idleTimeout,
                                                 .requestTimeout = configuration.requestTimeout});
  platform.contacts = makeVCardContacts({.path = configuration.addressBook.empty()
                                                     ? configuration.dataFolder + "/contacts"
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
