// The device's address book and the permission to read it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "foundation/export.h"
#include "platform/contacts.h"

namespace quillfold {

inline constexpr const char* CNErrorDomain = "CNErrorDomain";
enum CNErrorCode : std::int64_t {
  CNErrorCodeCommunicationError = 1,
  CNErrorCodeDataAccessError = 2,
  CNErrorCodeAuthorizationDenied = 100,
  CNErrorCodeRecordDoesNotExist = 200,
};

enum CNEntityType : std::int64_t { CNEntityTypeContacts = 0 };

enum CNAuthorizationStatus : std::int64_t {
  CNAuthorizationStatusNotDetermined = 0,
  CNAuthorizationStatusRestricted = 1,
  CNAuthorizationStatusDenied = 2,
  CNAuthorizationStatusAuthorized = 3,
};

struct CNContactFetchRequest {
  std::vector<CNKeyDescriptor> keysToFetch;
  static CNContactFetchRequest initWithKeysToFetch(std::vector<CNKeyDescriptor> keys) {
    return {std::move(keys)};
  }
};

// Selects the contacts of one container.
struct CNContactPredicate {
  std::string containerIdentifier;
  static CNContactPredicate predicateForContactsInContainerWithIdentifier(std::string identifier) {
    return {std::move(identifier)};
  }
};

// Reads an address book. Every operation blocks, may be called from any thread,
// from several at once, and may raise NSException. A failure sets the error
// (domain "CNErrorDomain").
class QUILLFOLD_EXPORT CNContactStore {
 public:
  using AccessCompletion = std::function<void(bool granted, ErrorPtr error)>;

  virtual ~CNContactStore() = default;

  // A store of the installed platform.
  static std::shared_ptr<CNContactStore> create();
  static std::int64_t authorizationStatusForEntityType(std::int64_t entityType);

  // Asks the user once; later calls answer from what was decided. The completion
  // runs on a thread of the platform's choice, never inside the call.
  virtual void requestAccessForEntityType(std::int64_t entityType, AccessCompletion completion) = 0;

  // Calls the block with each contact of every container, in the store's own
  // order. Returns whether all could be read.
  virtual bool enumerateContactsWithFetchRequest(
      const CNContactFetchRequest& request, ErrorPtr* error,
      const std::function<void(const CNContact&)>& block) = 0;

  // Absent, with the error set, if there is no such contact.
  virtual std::shared_ptr<const CNContact> unifiedContactWithIdentifier(
      const std::string& identifier, const std::vector<CNKeyDescriptor>& keys, ErrorPtr* error) = 0;

  virtual std::vector<CNContact> unifiedContactsMatchingPredicate(
      const CNContactPredicate& predicate, const std::vector<CNKeyDescriptor>& keys,
      ErrorPtr* error) = 0;

  virtual std::string defaultContainerIdentifier() = 0;
};

// Part of the installed platform: the stores that it makes and the permission.
class QUILLFOLD_EXPORT ContactsProvider {
 public:
  virtual ~ContactsProvider() = default;
  virtual std::shared_ptr<CNContactStore> makeStore() = 0;
  // The current answer; may change at any time.
  virtual std::int64_t authorizationStatus() = 0;
  // The text shown for a platform label, see localizedStringForLabel.
  virtual std::string localizedLabel(const std::string& label) = 0;
  // How many entries the last read had to leave out because they can't be read.
  virtual std::int64_t skippedContacts() { return 0; }
};

}  // namespace quillfold
