#include "contacts/contact_reader.h"

#include "contacts/batches.h"
#include "contacts/contacts_authorization.h"
#include "contacts/store_reading.h"
#include "core/error.h"
#include "core/service_state.h"
#include "model/contact_mapper.h"
#include "platform/contact_store.h"

namespace quillfold {

namespace {

constexpr const char* kFetchingContacts = "Exception while fetching contacts: ";
constexpr const char* kFetchingContact = "Exception while fetching contact: ";
constexpr const char* kCountingContacts = "Exception while counting contacts: ";

using ContactsOutcome = ReadOutcome<std::optional<QFContactList>>;

ErrorPtr fetchFailed(std::string message, ErrorPtr underlyingError = nullptr) {
  return QFError::errorWithCode(QFErrorCodeFetchFailed, std::move(message),
                                std::move(underlyingError));
}

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

// One page of them; an empty one beyond the end.
QFContactList page(const QFContactList& contacts, std::int64_t batchSize, std::int64_t batchIndex) {
  const auto range = nextBatch(static_cast<std::int64_t>(contacts.size()), batchSize, batchIndex,
                               Comparison::Unsigned);
  return range ? slice(contacts, *range) : QFContactList();
}

}  // namespace

ContactReader::ContactReader(std::shared_ptr<CNContactStore> store,
                             std::shared_ptr<QFContactsAuthorizationService> authorization,
                             std::shared_ptr<const ServiceState> state)
    : store_(std::move(store)),
      authorization_(std::move(authorization)),
      state_(std::move(state)) {}

ErrorPtr ContactReader::guard() const {
  if (!state_->isReady()) {
    return QFError::errorWithCode(QFErrorCodeNotInitialized, "Quillfold not properly initialized");
  }
  if (!authorization_->hasContactsReadAccess()) {
    return QFError::errorWithCode(QFErrorCodeAccessDenied,
                                  "Contacts access denied. Please allow access in Settings.");
  }
  return nullptr;
}

template <typename Result, typename Completion>
void ContactReader::read(const char* exceptionText, std::function<ReadOutcome<Result>()> work,
                         Completion completion) const {
  if (const ErrorPtr error = guard()) {
    if (completion) completion(Result{}, error);
    return;
  }
  readStore<Result>(
      std::move(work),
      [exceptionText](const NSException& exception) {
        return fetchFailed(exceptionText + exception.reason());
      },
      std::move(completion));
}

std::vector<CNKeyDescriptor> ContactReader::keysToFetch() const {
  // The set names what the host wants to read, not what is kept from it.
  const bool includeNote =
      state_->options()->restrictedKeysToFetch().contains(QFContactDataRestrictionNotes);
  return QFContactMapper::keysToFetch(includeNote);
}

void ContactReader::fetchContactsWithCompletion(ContactsCompletion completion) const {
  read<std::optional<QFContactList>>(
      kFetchingContacts, [store = store_, keys = keysToFetch()] { return enumerate(*store, keys); },
      std::move(completion));
}

void ContactReader::fetchContactsWithFieldType(std::int64_t fieldType,
                                               ContactsCompletion completion) const {
  read<std::optional<QFContactList>>(
      kFetchingContacts,
      [store = store_, fieldType] {
        return enumerate(*store, QFContactMapper::keysToFetchForFieldTypes({fieldType}), fieldType);
      },
      std::move(completion));
}

void ContactReader::fetchContactsWithBatchSize(std::int64_t batchSize, std::int64_t batchIndex,
                                               ContactsCompletion completion) const {
  read<std::optional<QFContactList>>(
      kFetchingContacts,
      [store = store_, batchSize, batchIndex]() -> ContactsOutcome {
        // The note is always part of a page, whatever the options say.
        ContactsOutcome all = enumerate(*store, QFContactMapper::keysToFetch(true));
        if (all.error) return all;
        return {page(*all.result, batchSize, batchIndex), nullptr};
      },
      std::move(completion));
}

void ContactReader::fetchContactWithIdentifier(std::string identifier,
                                               ContactCompletion completion) const {
  read<QFContactPtr>(
      kFetchingContact,
      [store = store_, identifier = std::move(identifier)]() -> ReadOutcome<QFContactPtr> {
        ErrorPtr storeError;
        const auto contact = store->unifiedContactWithIdentifier(
            identifier, QFContactMapper::keysToFetch(true), &storeError);
        if (storeError || !contact)
          return {nullptr, fetchFailed("Failed to fetch contact", storeError)};
        return {QFContactMapper::contactFromCNContact(*contact), nullptr};
      },
      std::move(completion));
}

void ContactReader::getContactsCountWithCompletion(CountCompletion completion) const {
  read<std::int64_t>(
      kCountingContacts,
      [store = store_]() -> ReadOutcome<std::int64_t> {
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
