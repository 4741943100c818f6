// Reading the device's address book: guards on the caller's thread, the store on
// a global queue, the result on the main queue.
#include "contacts/contacts_authorization.h"
#include "core/error.h"
#include "facade/contact_service.h"
#include "model/contact_mapper.h"
#include "platform/contact_store.h"
#include "platform/dispatch.h"

namespace quillfold {

namespace {

constexpr const char* kFetchingContacts = "Exception while fetching contacts: ";
constexpr const char* kFetchingContact = "Exception while fetching contact: ";
constexpr const char* kCountingContacts = "Exception while counting contacts: ";

template <typename Result>
struct Outcome {
  Result result{};
  ErrorPtr error;
};

ErrorPtr fetchFailed(std::string message, ErrorPtr underlyingError = nullptr) {
  return QFError::errorWithCode(QFErrorCodeFetchFailed, std::move(message),
                                std::move(underlyingError));
}

// Runs the work on a global queue and calls the completion with its outcome on
// the main queue. A platform exception becomes an error with its reason.
template <typename Result, typename Completion>
void readStore(const char* exceptionText, std::function<Outcome<Result>()> work,
               Completion completion) {
  dispatchGlobal(
      [exceptionText, work = std::move(work), completion = std::move(completion)]() mutable {
        auto outcome = std::make_shared<Outcome<Result>>();
        try {
          *outcome = work();
        } catch (const NSException& exception) {
          outcome->error = fetchFailed(exceptionText + exception.reason());
        }
        // Moved, so that what the completion holds is let go on the main queue too.
        dispatchMain([outcome, completion = std::move(completion)] {
          if (completion) completion(std::move(outcome->result), outcome->error);
        });
      });
}

using ContactsOutcome = Outcome<std::optional<QFContactList>>;

bool hasField(const QFContact& contact, std::int64_t fieldType) {
  switch (fieldType) {
    case QFContactFieldTypePhone:
      return !contact.phoneNumbers().empty();
    case QFContactFieldTypeEmail:
      return !contact.emailAddresses().empty();
    case QFContactFieldTypeNotes:
      return isNonEmpty(contact.notes());
    default:
      return true;
  }
}

// Every contact of the store that has the field.
ContactsOutcome enumerate(CNContactStore& store, std::vector<CNKeyDescriptor> keys,
                          std::int64_t fieldType = QFContactFieldTypeAll) {
  QFContactList contacts;
  ErrorPtr storeError;
  const bool complete = store.enumerateContactsWithFetchRequest(
      CNContactFetchRequest::initWithKeysToFetch(std::move(keys)), &storeError,
      [&contacts, fieldType](const CNContact& source) {
        QFContactPtr contact = QFContactMapper::contactFromCNContact(source);
        if (hasField(*contact, fieldType)) contacts.push_back(std::move(contact));
      });
  if (!complete) return {std::nullopt, fetchFailed("Failed to fetch contacts", storeError)};
  return {std::move(contacts), nullptr};
}

QFContactList subarray(const QFContactList& contacts, std::uint64_t start, std::int64_t length) {
  if (length < 0) throw NSException(NSRangeException, "The range of a page has a negative length.");
  const auto first = contacts.begin() + static_cast<std::ptrdiff_t>(start);
  return {first, first + static_cast<std::ptrdiff_t>(length)};
}

QFContactList page(const QFContactList& contacts, std::int64_t batchSize, std::int64_t batchIndex) {
  // Compared without a sign: a negative product counts as huge.
  const std::uint64_t start =
      static_cast<std::uint64_t>(batchIndex) * static_cast<std::uint64_t>(batchSize);
  if (start >= contacts.size()) return {};
  const auto rest = static_cast<std::int64_t>(contacts.size() - start);
  return subarray(contacts, start, std::min(batchSize, rest));
}

}  // namespace

ErrorPtr QFContactService::readingGuard() {
  if (!isInitialized()) {
    return QFError::errorWithCode(QFErrorCodeNotInitialized, "Quillfold not properly initialized");
  }
  if (!authorizationService_->hasContactsReadAccess()) {
    return QFError::errorWithCode(QFErrorCodeAccessDenied,
                                  "Contacts access denied. Please allow access in Settings.");
  }
  return nullptr;
}

std::vector<CNKeyDescriptor> QFContactService::keysToFetch() const {
  // The set names what the host wants to read, not what is kept from it.
  const bool includeNote =
      options()->restrictedKeysToFetch().contains(QFContactDataRestrictionNotes);
  return QFContactMapper::keysToFetch(includeNote);
}

void QFContactService::fetchContactsWithCompletion(ContactsCompletion completion) {
  if (const ErrorPtr error = readingGuard()) {
    if (completion) completion(std::nullopt, error);
    return;
  }
  readStore<std::optional<QFContactList>>(
      kFetchingContacts,
      [store = contactStore_, keys = keysToFetch()] { return enumerate(*store, keys); },
      std::move(completion));
}

void QFContactService::fetchContactsWithFieldType(std::int64_t fieldType,
                                                  ContactsCompletion completion) {
  if (const ErrorPtr error = readingGuard()) {
    if (completion) completion(std::nullopt, error);
    return;
  }
  readStore<std::optional<QFContactList>>(
      kFetchingContacts,
      [store = contactStore_, fieldType] {
        return enumerate(*store, QFContactMapper::keysToFetchForFieldTypes({fieldType}), fieldType);
      },
      std::move(completion));
}

void QFContactService::fetchContactsWithBatchSize(std::int64_t batchSize, std::int64_t batchIndex,
                                                  ContactsCompletion completion) {
  if (const ErrorPtr error = readingGuard()) {
    if (completion) completion(std::nullopt, error);
    return;
  }
  readStore<std::optional<QFContactList>>(
      kFetchingContacts,
      [store = contactStore_, batchSize, batchIndex]() -> ContactsOutcome {
        // The note is always part of a page, whatever the options say.
        ContactsOutcome all = enumerate(*store, QFContactMapper::keysToFetch(true));
        if (all.error) return all;
        return {page(*all.result, batchSize, batchIndex), nullptr};
      },
      std::move(completion));
}

void QFContactService::fetchContactWithIdentifier(std::string identifier,
                                                  ContactCompletion completion) {
  if (const ErrorPtr error = readingGuard()) {
    if (completion) completion(nullptr, error);
    return;
  }
  readStore<QFContactPtr>(
      kFetchingContact,
      [store = contactStore_, identifier = std::move(identifier)]() -> Outcome<QFContactPtr> {
        ErrorPtr storeError;
        const auto contact = store->unifiedContactWithIdentifier(
            identifier, QFContactMapper::keysToFetch(true), &storeError);
        if (storeError || !contact)
          return {nullptr, fetchFailed("Failed to fetch contact", storeError)};
        return {QFContactMapper::contactFromCNContact(*contact), nullptr};
      },
      std::move(completion));
}

void QFContactService::getContactsCountWithCompletion(CountCompletion completion) {
  if (const ErrorPtr error = readingGuard()) {
    if (completion) completion(0, error);
    return;
  }
  readStore<std::int64_t>(
      kCountingContacts,
      [store = contactStore_]() -> Outcome<std::int64_t> {
        // One container only, while the whole-store fetch reads them all.
        const auto predicate = CNContactPredicate::predicateForContactsInContainerWithIdentifier(
            store->defaultContainerIdentifier());
        ErrorPtr storeError;
        const auto contacts = store->unifiedContactsMatchingPredicate(
            predicate, {CNContactIdentifierKey}, &storeError);
        if (storeError) return {0, fetchFailed("Failed to count contacts", storeError)};
        return {std::ssize(contacts), nullptr};
      },
      std::move(completion));
}

}  // namespace quillfold
