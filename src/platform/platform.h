// The seam between the library and the system that it runs on.
#pragma once

#include <memory>

#include "events/view_controller.h"
#include "platform/background_tasks.h"
#include "platform/clock.h"
#include "platform/contact_store.h"
#include "platform/device.h"
#include "platform/dispatch.h"
#include "platform/files.h"
#include "platform/log.h"
#include "platform/notification_center.h"
#include "platform/url_session.h"
#include "platform/user_defaults.h"

namespace quillfold {

// Everything that the library asks of a system, as one plain struct. A host that
// wants other services than the Linux ones fills one and installs it before it
// first touches the library; makeLinuxPlatform (adapters/linux/linux_platform.h)
// is a good start to replace single members of. No member may be null.
struct Platform {
  std::shared_ptr<Clock> clock;
  std::shared_ptr<MainQueue> mainQueue;
  std::shared_ptr<DispatchQueue> globalQueue;
  std::shared_ptr<LogSink> log;
  std::shared_ptr<NSUserDefaults> userDefaults;
  std::shared_ptr<FileManager> files;
  std::shared_ptr<URLSessionFactory> urlSessions;
  std::shared_ptr<ContactsProvider> contacts;
  std::shared_ptr<DeviceData> device;
  std::shared_ptr<NSNotificationCenter> notifications;
  std::shared_ptr<BGTaskScheduler> backgroundTasks;
  std::shared_ptr<UserInterface> userInterface;

  // Installs a platform for the life of the process. Returns false, and changes
  // nothing, once a platform is in use.
  static bool install(Platform platform);
  // The platform in use. The first call, from any thread, settles it: without an
  // installed one it is the Linux platform with its default configuration.
  static const Platform& current();
};

}  // namespace quillfold
