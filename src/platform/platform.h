// The seam between the library and the system that it runs on.
#pragma once

#include <memory>

#include "foundation/export.h"
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
#include "platform/user_interface.h"

namespace quillfold {

// Everything that the library asks of a system, as one plain struct. A host that
// wants other services than the Linux ones fills one and installs it before it
// first touches the library; what the port offers, makeLinuxPlatform on Linux, is a
// good start to replace single members of. No member but the last may be null.
struct QUILLFOLD_EXPORT Platform {
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
  // Null: nothing is shown, and the log says so.
  std::shared_ptr<UserInterface> userInterface;

  // Installs a platform for the life of the process. Returns false, and changes
  // nothing, once a platform is in use.
  static bool install(Platform platform);
  // The platform in use. The first call, from any thread, settles it: without an
  // installed one it is the port's own. Throws std::logic_error where the program has none.
  static const Platform& current();
};

// The port's platform in its default configuration; each port defines it. A program whose
// hosts install theirs can do without.
QUILLFOLD_EXPORT Platform defaultPlatform();

}  // namespace quillfold
