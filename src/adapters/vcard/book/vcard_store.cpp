#include "adapters/vcard/book/vcard_store.h"

#include "adapters/vcard/book/contacts_error.h"
#include "foundation/format.h"

namespace quillfold {

std::shared_ptr<const BookSnapshot> VCardStore::snapshot(ErrorPtr* error) const {
  if (access_->status() == CNAuthorizationStatusAuthorized) return book_->load(error);
  if (error) *error = accessDeniedError();
  return nullptr;
}

void VCardStore::requestAccessForEntityType(std::int64_t, AccessCompletion completion) {
  access_->request(std::move(completion));
}

bool VCardStore::enumerateContactsWithFetchRequest(
    const CNContactFetchRequest& request, ErrorPtr* error,
    const std::function<void(const CNContact&)>& block) {
  const std::shared_ptr<const BookSnapshot> book = snapshot(error);
  if (!book) return false;
  const CNKeySet keys = CNKeySet::fromKeys(request.keysToFetch);
  for (const BookSnapshot::Entry& entry : book->entries)
    block(CNContact(entry.contact, keys));
  return true;
}

std::shared_ptr<const CNContact> VCardStore::unifiedContactWithIdentifier(
    const std::string& identifier, const std::vector<CNKeyDescriptor>& keys, ErrorPtr* error) {
  const std::shared_ptr<const BookSnapshot> book = snapshot(error);
  if (!book) return nullptr;
  const auto found = book->indexes.find(identifier);
  if (found == book->indexes.end()) {
    if (error) {
      *error = contactsError(CNErrorCodeRecordDoesNotExist,
                             fmt::format("There is no contact {}.", identifier));
    }
    return nullptr;
  }
  return std::make_shared<const CNContact>(book->entries[found->second].contact,
                                           CNKeySet::fromKeys(keys));
}

std::vector<CNContact> VCardStore::unifiedContactsMatchingPredicate(
    const CNContactPredicate& predicate, const std::vector<CNKeyDescriptor>& keys,
    ErrorPtr* error) {
  std::vector<CNContact> contacts;
  const std::shared_ptr<const BookSnapshot> book = snapshot(error);
  if (!book) return contacts;
  const CNKeySet keySet = CNKeySet::fromKeys(keys);
  for (const BookSnapshot::Entry& entry : book->entries) {
    if (*entry.container == predicate.containerIdentifier) {
      contacts.emplace_back(entry.contact, keySet);
    }
  }
  return contacts;
}

}  // namespace quillfold
