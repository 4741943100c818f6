// A store over the shared book.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "adapters/vcard/book/address_book.h"
#include "adapters/vcard/book/contacts_access.h"
#include "platform/contact_store.h"

namespace quillfold {

class VCardStore : public CNContactStore {
 public:
  VCardStore(std::shared_ptr<AddressBook> book, std::shared_ptr<ContactsAccess> access)
      : book_(std::move(book)), access_(std::move(access)) {}

  void requestAccessForEntityType(std::int64_t entityType, AccessCompletion completion) override;
  bool enumerateContactsWithFetchRequest(
      const CNContactFetchRequest& request, ErrorPtr* error,
      const std::function<void(const CNContact&)>& block) override;
  std::shared_ptr<const CNContact> unifiedContactWithIdentifier(
      const std::string& identifier, const std::vector<CNKeyDescriptor>& keys,
      ErrorPtr* error) override;
  std::vector<CNContact> unifiedContactsMatchingPredicate(const CNContactPredicate& predicate,
                                                          const std::vector<CNKeyDescriptor>& keys,
                                                          ErrorPtr* error) override;
  std::string defaultContainerIdentifier() override { return kDefaultContainer; }

 private:
  // The book as it is now; absent, with the error set, without access or if it can't be
  // read.
  std::shared_ptr<const BookSnapshot> snapshot(ErrorPtr* error) const;

  const std::shared_ptr<AddressBook> book_;
  const std::shared_ptr<ContactsAccess> access_;
};

}  // namespace quillfold
