#include "testing/memory_contacts.h"

#include "platform/label_texts.h"

namespace quillfold::testing {

class MemoryContactStore : public CNContactStore {
 public:
  explicit MemoryContactStore(std::shared_ptr<MemoryContacts> book) : book_(std::move(book)) {}

  void requestAccessForEntityType(std::int64_t, AccessCompletion completion) override {
    book_->queue_.async([book = book_, completion = std::move(completion)] {
      book->status = book->statusAfterRequest;
      completion(book->status == CNAuthorizationStatusAuthorized, book->requestError);
    });
  }

  bool enumerateContactsWithFetchRequest(
      const CNContactFetchRequest& request, ErrorPtr* error,
      const std::function<void(const CNContact&)>& block) override {
    ++book_->enumerations;
    const bool begun = begin(request.keysToFetch, error);
    if (!book_->complete.value_or(begun)) return false;
    for (const auto& entry : book_->entries())
      block(fetched(entry, request.keysToFetch));
    return true;
  }

  std::shared_ptr<const CNContact> unifiedContactWithIdentifier(
      const std::string& identifier, const std::vector<CNKeyDescriptor>& keys,
      ErrorPtr* error) override {
    if (!begin(keys, error)) return nullptr;
    for (const auto& entry : book_->entries()) {
      if (entry.contact->identifier == identifier) {
        return std::make_shared<CNContact>(fetched(entry, keys));
      }
    }
    if (!book_->missingIsNoError) {
      *error = NSError::errorWithDomain(CNErrorDomain, CNErrorCodeRecordDoesNotExist);
    }
    return nullptr;
  }

  std::vector<CNContact> unifiedContactsMatchingPredicate(const CNContactPredicate& predicate,
                                                          const std::vector<CNKeyDescriptor>& keys,
                                                          ErrorPtr* error) override {
    std::vector<CNContact> out;
    if (!begin(keys, error)) return out;
    for (const auto& entry : book_->entries()) {
      if (entry.container == predicate.containerIdentifier) out.push_back(fetched(entry, keys));
    }
    return out;
  }

  std::string defaultContainerIdentifier() override { return "default"; }

 private:
  bool begin(const std::vector<CNKeyDescriptor>& keys, ErrorPtr* error) {
    if (book_->onUse) book_->onUse();
    book_->lastKeys = keys;
    if (book_->exception) throw *book_->exception;
    if (book_->storeError) *error = book_->storeError;
    return !book_->storeError;
  }

  static CNContact fetched(const MemoryContacts::Entry& entry,
                           const std::vector<CNKeyDescriptor>& keys) {
    return {entry.contact, CNKeySet::fromKeys(keys)};
  }

  std::shared_ptr<MemoryContacts> book_;
};

std::shared_ptr<CNContactStore> MemoryContacts::makeStore() {
  ++storesMade;
  return std::make_shared<MemoryContactStore>(shared_from_this());
}

std::int64_t MemoryContacts::authorizationStatus() {
  if (onUse) onUse();
  return status;
}

std::string MemoryContacts::localizedLabel(const std::string& label) {
  return labelText(englishLabelTexts(), label);
}

void MemoryContacts::add(CNContactProperties contact, std::string container) {
  const std::lock_guard lock(mutex_);
  entries_.push_back(
      {std::move(container), std::make_shared<const CNContactProperties>(std::move(contact))});
}

void MemoryContacts::replace(CNContactProperties contact) {
  const std::lock_guard lock(mutex_);
  for (Entry& entry : entries_) {
    if (entry.contact->identifier == contact.identifier) {
      entry.contact = std::make_shared<const CNContactProperties>(contact);
    }
  }
}

CNContactProperties MemoryContacts::person(std::string identifier, std::string givenName,
                                           std::string phone) {
  CNContactProperties contact;
  contact.identifier = std::move(identifier);
  contact.givenName = std::move(givenName);
  if (!phone.empty()) contact.phoneNumbers.push_back({"_$!<Mobile>!$_", {std::move(phone)}});
  return contact;
}

std::vector<MemoryContacts::Entry> MemoryContacts::entries() const {
  const std::lock_guard lock(mutex_);
  return entries_;
}

}  // namespace quillfold::testing
