#include "adapters/linux/book/vcard_contacts.h"

#include "adapters/linux/book/book_watcher.h"
#include "adapters/vcard/book/address_book.h"
#include "adapters/vcard/book/contacts_access.h"
#include "adapters/vcard/book/vcard_store.h"
#include "platform/label_texts.h"

namespace quillfold {

LinuxContacts::LinuxContacts(VCardContactsOptions options)
    : path_(std::move(options.path)),
      labels_(options.labels.empty() ? englishLabelTexts() : std::move(options.labels)),
      notifications_(std::move(options.notifications)),
      access_(std::make_shared<ContactsAccess>(
          std::move(options.question), std::move(options.defaults), std::move(options.queue))) {}

LinuxContacts::~LinuxContacts() = default;

std::shared_ptr<CNContactStore> LinuxContacts::makeStore() {
  const std::lock_guard lock(mutex_);
  if (!book_) {
    const auto files = openBook([notifications = notifications_] {
      notifications->postNotificationName(CNContactStoreDidChangeNotification);
    });
    book_ = std::make_shared<AddressBook>(path_, files);
  }
  return std::make_shared<VCardStore>(book_, access_);
}

std::shared_ptr<BookFiles> LinuxContacts::openBook(std::function<void()> onChange) {
  return std::make_shared<BookWatcher>(path_, std::move(onChange));
}

std::int64_t LinuxContacts::authorizationStatus() {
  return access_->status();
}

void LinuxContacts::setAuthorizationStatus(std::int64_t status) {
  access_->setStatus(status);
}

std::string LinuxContacts::localizedLabel(const std::string& label) {
  return labelText(labels_, label);
}

std::int64_t LinuxContacts::skippedContacts() {
  const std::lock_guard lock(mutex_);
  return book_ ? book_->skippedCards() : 0;
}

std::shared_ptr<LinuxContacts> makeVCardContacts(VCardContactsOptions options) {
  return std::make_shared<LinuxContacts>(std::move(options));
}

}  // namespace quillfold
