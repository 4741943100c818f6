// Reading the device's address book.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "contacts/completions.h"
#include "platform/contacts.h"

namespace quillfold {

class CNContactStore;
class QFContactsAuthorizationService;
class ServiceState;
template <typename Result>
struct ReadOutcome;

// Reads contacts of one store for a service that is ready and may read them. The guards
// run on the caller's thread and fail there, inside the call; the store is read on a
// global queue, and the completion runs, and is let go, on the main queue. The operations
// are those of QFContactService. Any thread.
class ContactReader {
 public:
  ContactReader(std::shared_ptr<CNContactStore> store,
                std::shared_ptr<QFContactsAuthorizationService> authorization,
                std::shared_ptr<const ServiceState> state);

  // QFErrorDomain 1005 unless the state is ready, 1006 without permission; else null.
  ErrorPtr guard() const;
  // The keys of a read of all contacts, by the options of this moment.
  std::vector<CNKeyDescriptor> keysToFetch() const;

  void fetchContactsWithCompletion(ContactsCompletion completion) const;
  void fetchContactsWithFieldType(std::int64_t fieldType, ContactsCompletion completion) const;
  void fetchContactsWithBatchSize(std::int64_t batchSize, std::int64_t batchIndex,
                                  ContactsCompletion completion) const;
  void fetchContactWithIdentifier(std::string identifier, ContactCompletion completion) const;
  void getContactsCountWithCompletion(CountCompletion completion) const;

 private:
  // Reads if the guards allow it. A platform exception becomes an error with the text and
  // its reason.
  template <typename Result, typename Completion>
  void read(const char* exceptionText, std::function<ReadOutcome<Result>()> work,
            Completion completion) const;

  const std::shared_ptr<CNContactStore> store_;
  const std::shared_ptr<QFContactsAuthorizationService> authorization_;
  const std::shared_ptr<const ServiceState> state_;
};

}  // namespace quillfold
