// An address book in memory, for tests and for hosts' own tests.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/export.h"
#include "platform/contact_store.h"
#include "platform/dispatch.h"

namespace quillfold::testing {

// The contacts, the permission and the faults of a test. Stores that were made
// before a change see it. Safe to use from any thread through the operations; the
// public fields are set while nothing reads.
class QUILLFOLD_EXPORT MemoryContacts : public ContactsProvider,
                                        public std::enable_shared_from_this<MemoryContacts> {
 public:
  // Answers to requests for access run on the queue.
  explicit MemoryContacts(DispatchQueue& queue) : queue_(queue) {}

  std::shared_ptr<CNContactStore> makeStore() override;
  std::int64_t authorizationStatus() override;
  std::string localizedLabel(const std::string& label) override;

  // A contact of the default container, or of another one.
  void add(CNContactProperties contact, std::string container = "default");
  // Replaces the contact with the same identifier.
  void replace(CNContactProperties contact);
  // A person with that identifier, given name and phone number.
  static CNContactProperties person(std::string identifier, std::string givenName,
                                    std::string phone = "");

  std::int64_t status = CNAuthorizationStatusAuthorized;
  // What a request for access leaves behind, and its error.
  std::int64_t statusAfterRequest = CNAuthorizationStatusAuthorized;
  ErrorPtr requestError;
  // While set, every read fails with it, or raises it.
  ErrorPtr storeError;
  std::optional<NSException> exception;
  // While set, what a read of all contacts returns, whatever has happened in it.
  std::optional<bool> complete;
  // While set, a contact that is not there comes as null without an error.
  bool missingIsNoError = false;
  // Called before each read, and before each answer about the permission; may raise.
  std::function<void()> onUse;
  // What the stores have seen.
  int storesMade = 0;
  int enumerations = 0;
  std::vector<CNKeyDescriptor> lastKeys;

 private:
  friend class MemoryContactStore;
  struct Entry {
    std::string container;
    std::shared_ptr<const CNContactProperties> contact;
  };
  std::vector<Entry> entries() const;

  DispatchQueue& queue_;
  mutable std::mutex mutex_;
  std::vector<Entry> entries_;
};

}  // namespace quillfold::testing
