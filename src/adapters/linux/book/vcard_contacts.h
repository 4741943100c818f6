// The Linux address book: vCards in a folder or a file.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "foundation/export.h"
#include "platform/contact_store.h"
#include "platform/dispatch.h"
#include "platform/notification_center.h"
#include "platform/user_defaults.h"

namespace quillfold {

class AddressBook;
class BookFiles;
class ContactsAccess;

// How the host answers when the user is to be asked for access to the contacts.
// It calls `answer` once, at once or later, from any thread.
using AccessQuestion = std::function<void(std::function<void(bool granted)> answer)>;

struct VCardContactsOptions {
  // One file with any number of cards, or a folder of files with the extension ".vcf"
  // in any case. Each sub-folder is a container of its own with its path below the book
  // as the identifier; the top one is the default container, "default". Hidden files
  // and folders and links to folders are not looked at. The path need not exist yet:
  // then the book is empty.
  std::string path;

  // Asked once when access is not determined; calls `answer` at once or later, on any
  // thread. An answer that is let go uncalled refuses this time and is not remembered.
  // Without a question access is denied for as long as the process lives.
  AccessQuestion question;

  // The texts of platform labels by their word in lower case ("homefax" for
  // _$!<HomeFAX>!$_), in place of the English ones. Empty: English.
  std::map<std::string, std::string> labels;

  // Remembers the status under "quillfold.platform.contacts.access", as the number of
  // CNAuthorizationStatus. May be absent: then it is forgotten with the process.
  std::shared_ptr<NSUserDefaults> defaults;

  // Where CNContactStoreDidChangeNotification is posted, and the queue that answers of
  // requestAccessForEntityType come on. Both have to be there.
  std::shared_ptr<NSNotificationCenter> notifications;
  std::shared_ptr<DispatchQueue> queue;
};

// Makes stores over one shared book. A file is read again only when it has changed;
// contacts come in the byte order of their files' paths below the book, and within a
// file in its order. A card whose UID an earlier one has gets an identifier of its own.
//
// Fetches fail in CNErrorDomain with CNErrorCodeAuthorizationDenied without access, and
// with CNErrorCodeDataAccessError if a file or folder of the book can't be read, since
// the contacts in it would seem deleted. A container that is not there has no contacts.
// What can't be read within a file is left out with a warning in the log.
//
// From the first store on and as long as the provider or a store lives, a thread watches
// the path and posts CNContactStoreDidChangeNotification from there, once for changes
// that come in one burst. Letting the last of them go waits for a notification that is
// under way, unless it is done from there.
//
// Safe to use from any thread.
class QUILLFOLD_EXPORT LinuxContacts : public ContactsProvider {
 public:
  explicit LinuxContacts(VCardContactsOptions options);
  ~LinuxContacts() override;

  std::shared_ptr<CNContactStore> makeStore() override;
  std::int64_t authorizationStatus() override;
  std::string localizedLabel(const std::string& label) override;
  std::int64_t skippedContacts() override;

  // Where the book is.
  const std::string& path() const { return path_; }

  // Sets and remembers the status, as the user would in the system's settings.
  void setAuthorizationStatus(std::int64_t status);

 protected:
  // The book's files, from the first store on. `onChange` may be called on any thread.
  virtual std::shared_ptr<BookFiles> openBook(std::function<void()> onChange);

 private:
  std::string path_;
  std::map<std::string, std::string> labels_;
  std::shared_ptr<NSNotificationCenter> notifications_;
  std::shared_ptr<ContactsAccess> access_;
  std::mutex mutex_;
  std::shared_ptr<AddressBook> book_;  // From the first store on.
};

QUILLFOLD_EXPORT std::shared_ptr<LinuxContacts> makeVCardContacts(VCardContactsOptions options);

}  // namespace quillfold
