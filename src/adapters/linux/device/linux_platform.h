// The whole Linux platform: with HTTP by libcurl, and the address book as vCards.
#pragma once

#include <map>
#include <string>

#include "adapters/linux/book/vcard_contacts.h"
#include "adapters/linux/local_platform.h"
#include "foundation/export.h"

namespace quillfold {

// Everything that a host can set of the Linux platform.
struct LinuxConfiguration : LocalConfiguration {
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

  // The texts shown for platform labels, by the word inside the brackets in
  // lower case ("mobile" for _$!<Mobile>!$_). Empty: English.
  std::map<std::string, std::string> labels;
};

// A platform with all members set. Cheap: threads and files are opened on first
// use.
QUILLFOLD_EXPORT Platform makeLinuxPlatform(LinuxConfiguration configuration);

}  // namespace quillfold
