// The address books of the desktop (Evolution Data Server: GNOME Contacts, Evolution, online
// accounts). A library of its own, quillfold::desktop, for hosts that want them.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "adapters/linux/book/vcard_contacts.h"
#include "foundation/export.h"
#include "platform/platform.h"

namespace quillfold {

struct DesktopContactsOptions {
  // How long a fetch may wait for the service. Once one did, calls fail at once until the
  // service answers again. Books in the network get half of the time together. A day at most.
  std::chrono::milliseconds timeLimit = std::chrono::seconds(30);

  // As in VCardContactsOptions.
  std::function<void(std::function<void(bool granted)> answer)> question{};
  std::map<std::string, std::string> labels{};
  std::shared_ptr<NSUserDefaults> defaults{};
  // Both have to be there. Notifications are posted on the queue, too, and it should run
  // work at the same time as other work.
  std::shared_ptr<NSNotificationCenter> notifications{};
  std::shared_ptr<DispatchQueue> queue{};
};

// Makes stores over all address books that are enabled. Each is a container: the default one
// is "default", the others have the identifier that the desktop gives them. A contact's
// identifier is its UID in the book that every user has ("Personal"), as in a file, and that
// of the book, "/" and the UID in all others; it depends on nothing else. Lists are left out.
//
// Books are kept in memory and read again when the service tells of a change; fetches
// between that and the change itself give the older state. A fetch fails in CNErrorDomain as
// those of files do: with CNErrorCodeDataAccessError if the service is missing, dead or
// silent, or can't read a book on this device. A book in the network that can't be read
// stays as it was read last, or is left out if it never was, with a warning in the log; it
// is tried again some minutes later, or once it tells of a change.
//
// From the first fetch on and as long as the provider or a store lives, changes are told as
// CNContactStoreDidChangeNotification, once for those that come in one burst: of contacts,
// of the books that there are, and when a service that was missing, dead or silent is back.
//
// Safe to use from any thread. The bus connection that it shares with the process does not
// end the process any more when the bus dies.
class QUILLFOLD_EXPORT DesktopContacts : public LinuxContacts {
 public:
  explicit DesktopContacts(DesktopContactsOptions options);

 protected:
  std::shared_ptr<BookFiles> openBook(std::function<void()> onChange) override;

 private:
  const std::chrono::milliseconds timeLimit_;
  const std::shared_ptr<DispatchQueue> queue_;
};

// For Linux::adjust: puts the desktop's address books in place of the platform's. What the
// options lack is the platform's; without a question they may be read, for the host has
// named them, which the platform's defaults don't remember.
QUILLFOLD_EXPORT std::function<void(Platform&)> desktopContacts(
    DesktopContactsOptions options = {});

}  // namespace quillfold
