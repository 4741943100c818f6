// What of the Linux platform needs no library for cards or HTTP.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "foundation/export.h"
#include "platform/platform.h"

namespace quillfold {

// What a host can set of it. The defaults suit a program without a screen that keeps its data
// in the XDG folders.
struct LocalConfiguration {
  // Names this application's folders in the two below; letters, digits, ".", "-"
  // and "_". Applications that share one share their user and their bookkeeping.
  std::string applicationIdentifier = "quillfold";

  // Where the folders with the defaults file and with the application's own files
  // are; empty: $XDG_CONFIG_HOME (~/.config) and $XDG_DATA_HOME (~/.local/share).
  std::string configurationFolder{};
  std::string dataFolder{};

  // Whether a network is there for deferred tasks; empty: the system is asked.
  std::function<bool()> networkIsUp{};

  // Shows the library's alert. Without one it is not shown, with a line in the log.
  std::shared_ptr<UserInterface> userInterface{};

  std::optional<UIScreen> screen{};
  NSBundle bundle{};
};

// A platform whose `contacts` and `urlSessions` are null: the host sets them before it installs
// it. Queues on Asio, Unicode by ICU, files by the XDG folders. Cheap: threads and files are
// opened on first use.
QUILLFOLD_EXPORT Platform makeLocalPlatform(LocalConfiguration configuration);

}  // namespace quillfold
