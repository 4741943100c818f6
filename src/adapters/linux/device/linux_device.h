// One struct that brings the library up on Linux.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "adapters/linux/device/linux_platform.h"
#include "foundation/export.h"

namespace quillfold {

class LinuxMainQueue;

// The device as a program wants it, before anything else of the library:
//
//   quillfold::Linux device{.addressBook = "~/contacts"};
//
// It installs the platform and the main queue for the life of the process. A "~" in front of
// a path is the user's home. Throws std::logic_error if a platform is in use already, and
// std::invalid_argument for a backend that is no http or https origin.
struct QUILLFOLD_EXPORT Linux {
  // Names this application's folders; letters, digits, ".", "-" and "_".
  std::string applicationIdentifier = "quillfold";
  // Where its settings and its data are kept; empty: the XDG folders.
  std::string home{};

  // The address book: a .vcf file or a folder of them. Empty: "contacts" in the data
  // folder.
  std::string addressBook{};
  // Asked when nothing has been decided about the permission. Empty: an address book that is
  // named above may be read, the other one not.
  AccessQuestion accessQuestion{};

  // The origin of the backend, such as "https://api.example.com"; empty: the address that
  // the library was built with.
  std::string backend{};
  // Where connections to an authority really go: {"api.example.com:443", "127.0.0.1:8443"}.
  std::map<std::string, std::string> connectTo{};
  // Seconds without a byte from the backend, and for a whole request; 0: the library's own
  // limits of 60.
  double idleTimeout = 0;
  double requestTimeout = 0;
  // A certificate file (PEM) that is trusted in place of the system's.
  std::string certificateFile{};
  // Such as "http://proxy:3128"; empty: what the environment says.
  std::string proxy{};

  // What is written to standard error. Only LogLevel::Debug writes the plain channel, and
  // with it contacts; errors and warnings have no contact's data but what the backend says of
  // one in an answer that is refused.
  LogLevel logLevel = LogLevel::Warning;
  // Replaces the log.
  std::shared_ptr<LogSink> log{};

  // Whether a network is there for deferred tasks; empty: the system is asked.
  std::function<bool()> networkIsUp{};

  // The host's own event loop (quillfold/loops/). Null: a LinuxMainQueue, which
  // Operation::get runs, and `queue` gives.
  std::shared_ptr<MainQueue> mainQueue{};
  // Shows the library's alert. Without one it is not shown, with a line in the log.
  std::shared_ptr<UserInterface> userInterface{};
  // The texts shown for platform labels, by the word inside the brackets in lower case: home,
  // work, school, other, mobile, main, homefax, workfax, otherfax, pager, applewatch, homepage,
  // spouse, partner, father, mother, parent, brother, sister, sibling, son, daughter, child,
  // friend, assistant, manager, colleague and anniversary. A word without one is its own text.
  std::map<std::string, std::string> labels{};

  // Called with the platform before it is installed, for hosts that replace a part of it.
  std::function<void(Platform& platform)> adjust{};

  // The library's own queue; null where the host has brought its own.
  std::shared_ptr<LinuxMainQueue> queue = nullptr;
  // The last member: installs what stands above.
  const bool installed = install(*this);

 private:
  static bool install(Linux& device);
};

}  // namespace quillfold
