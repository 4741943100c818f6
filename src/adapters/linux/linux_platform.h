// The Linux platform: queues on Asio, HTTP by libcurl, Unicode by ICU, files by
// the XDG folders, the address book as vCards.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace quillfold {

// How the host answers when the user is to be asked for access to the contacts.
// It calls `answer` once, at once or later, from any thread.
using AccessQuestion = std::function<void(std::function<void(bool granted)> answer)>;

// Everything that a host can set of the Linux platform. The defaults suit a
// program without a screen that keeps its data in the XDG folders.
struct LinuxConfiguration {
  // Names this application's folders in the two below; letters, digits, ".", "-"
  // and "_". Applications that share one share their user and their bookkeeping.
  std::string applicationIdentifier = "quillfold";

  // Where the folders with the defaults file and with the application's own files
  // are; empty: $XDG_CONFIG_HOME (~/.config) and $XDG_DATA_HOME (~/.local/share).
  std::string configurationFolder;
  std::string dataFolder;

  // The address book: a .vcf file or a folder of them. Empty: "contacts" in
  // the data folder, for all applications. It need not exist yet.
  std::string addressBook;

  // Asked when permission is not determined. Without one, access is denied.
  AccessQuestion accessQuestion;

  // A certificate file that replaces the system's; empty: the system's.
  std::string certificateFile;
  // Where connections really go: {"localhost:8080", "127.0.0.1:34567"}.
  std::map<std::string, std::string> connectTo;

  // The origin of the backend, such as "https://api.example.com", in the place of the one
  // that requests name; empty: theirs.
  std::string backend;
  // A proxy for all requests, such as "http://proxy:3128"; empty: what the environment says.
  std::string proxy;
  // In place of the limits of the requests' sessions, in seconds; 0: theirs.
  double idleTimeout = 0;
  double requestTimeout = 0;

  // Whether a network is there for deferred tasks; empty: the system is asked.
  std::function<bool()> networkIsUp;

  // Shows the library's alert. Without one it is not shown, with a line in the log.
  std::shared_ptr<UserInterface> userInterface;

  std::optional<UIScreen> screen;
  NSBundle bundle;

  // The texts shown for platform labels, by the word inside the brackets in
  // lower case ("mobile" for _$!<Mobile>!$_). Empty: English.
  std::map<std::string, std::string> labels;
};

// A platform with all members set. Cheap: threads and files are opened on first
// use.
Platform makeLinuxPlatform(LinuxConfiguration configuration);

}  // namespace quillfold
