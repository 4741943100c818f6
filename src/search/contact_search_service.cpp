#include "search/contact_search_service.h"

#include <limits>
#include <mutex>

#include "contacts/store_reading.h"
#include "facade/service_slot.h"
#include "foundation/text.h"
#include "model/contact_mapper.h"
#include "platform/contact_store.h"
#include "platform/log_line.h"
#include "search/blocking_call.h"
#include "search/search_index.h"

namespace quillfold {

namespace {

constexpr std::int64_t kQuickSearchLimit = 20;

ErrorPtr searchError(std::int64_t code, std::string text) {
  return NSError::errorWithDomain(QFSearchErrorDomain, code,
                                  {{NSLocalizedDescriptionKey, std::move(text)}});
}

std::optional<SearchText> searchedText(std::uint64_t fieldType) {
  switch (fieldType) {
    case QFSearchFieldTypeName:
      return SearchText::Name;
    case QFSearchFieldTypePhone:
    case QFSearchFieldTypeEmail:
    case QFSearchFieldTypeAddress:
    case QFSearchFieldTypeOrganization:
    case QFSearchFieldTypeOther:
    case QFSearchFieldTypeAll:
      return SearchText::Match;
    default:
      return std::nullopt;
  }
}

// A page that ends beyond all numbers ends with the last contact.
SearchWindow windowOf(std::int64_t offset, std::int64_t limit) {
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  if (offset < 0 || limit < 0) return {0, 0};  // Raises once the total is known.
  return {offset, limit > kMost - offset ? kMost : offset + limit};
}

// A record from an archive may be without an identifier: no contact can be read
// for it.
std::vector<std::string> contactIds(const std::vector<QFContactSyncInfoPtr>& records) {
  std::vector<std::string> out;
  out.reserve(records.size());
  for (const QFContactSyncInfoPtr& record : records) {
    if (OptionalString contactId = record->contactId()) out.push_back(*std::move(contactId));
  }
  return out;
}

QFContactList readContacts(CNContactStore& store, const std::vector<std::string>& identifiers) {
  QFContactList contacts;
  contacts.reserve(identifiers.size());
  const auto keys = QFContactMapper::keysToFetch(false);
  // One slot for all: after a failure every later contact that leaves it as it is
  // counts as failed too.
  ErrorPtr error;
  for (const std::string& identifier : identifiers) {
    const auto contact = store.unifiedContactWithIdentifier(identifier, keys, &error);
    if (error) {
      logLine("Error fetching contact {}: {}", identifier, error->description());
    } else if (contact) {
      contacts.push_back(QFContactMapper::contactFromCNContact(*contact));
    }
  }
  return contacts;
}

}  // namespace

const std::shared_ptr<QFContactSearchService>& QFContactSearchService::sharedInstance() {
  static const auto* instance = new std::shared_ptr<QFContactSearchService>(init());
  return *instance;
}

std::shared_ptr<QFContactSearchService> QFContactSearchService::init() {
  return initWithContactService(QFContactService::sharedInstance());
}

std::shared_ptr<QFContactSearchService> QFContactSearchService::initWithContactService(
    const std::shared_ptr<QFContactService>& contactService) {
  static std::once_flag classInitialized;
  std::call_once(classInitialized, [] { NSLog("Initializing QFContactSearchService class"); });
  std::shared_ptr<QFContactSearchService> service(new QFContactSearchService(contactService));
  service->initialize();
  return service;
}

QFContactSearchService::QFContactSearchService(
    const std::shared_ptr<QFContactService>& contactService)
    : contactService_(contactService), contactStore_(CNContactStore::create()) {}

bool QFContactSearchService::initialize() {
  NSLog("Initializing search service instance");
  return true;
}

std::shared_ptr<const SearchSnapshot> QFContactSearchService::activeSyncInfo() const {
  const auto service = contactService();
  if (!service) return nullptr;
  service->loadSyncInfoCache();
  return SearchIndex::shared().snapshot(service->syncInfoCache());
}

std::vector<std::string> QFContactSearchService::tokenizeQuery(const OptionalString& query) const {
  if (!query) return {};
  return text::wordsOf(text::lowercaseString(text::trimmingWhitespaceAndNewlines(*query)));
}

void QFContactSearchService::searchContactsWithQuery(const OptionalString& query,
                                                     std::uint64_t fieldType, std::int64_t offset,
                                                     std::int64_t limit,
                                                     SearchCompletion completion) {
  if (!isNonEmpty(query)) return getContactsWithOffset(offset, limit, std::move(completion));
  const auto active = activeSyncInfo();
  const auto tokens = tokenizeQuery(query);
  if (tokens.empty()) return getContactsWithOffset(offset, limit, std::move(completion));
  const auto searched = searchedText(fieldType);
  SearchHits hits;
  if (active && searched) hits = active->search(tokens, *searched, windowOf(offset, limit));
  fetchPage(hits, offset, limit, std::move(completion));
}

void QFContactSearchService::quickSearchWithQuery(const OptionalString& query,
                                                  QuickSearchCompletion completion) {
  const auto listFirst = [&] {
    getContactsWithOffset(0, kQuickSearchLimit,
                          [completion = std::move(completion)](
                              std::optional<QFContactList> contacts, std::int64_t, ErrorPtr error) {
                            if (completion) completion(std::move(contacts), std::move(error));
                          });
  };
  if (!isNonEmpty(query)) return listFirst();
  const auto active = activeSyncInfo();
  const std::string text = text::trimmingWhitespaceAndNewlines(text::lowercaseString(*query));
  if (text.empty()) return listFirst();
  const SearchHits hits = active ? active->searchFirst(text, kQuickSearchLimit) : SearchHits{};
  fetchContactsWithIds(contactIds(hits.window), std::move(completion));
}

void QFContactSearchService::getContactsWithOffset(std::int64_t offset, std::int64_t limit,
                                                   SearchCompletion completion) {
  const auto active = activeSyncInfo();
  const SearchHits hits = active ? active->list(windowOf(offset, limit)) : SearchHits{};
  fetchPage(hits, offset, limit, std::move(completion));
}

void QFContactSearchService::fetchPage(const SearchHits& hits, std::int64_t offset,
                                       std::int64_t limit, SearchCompletion completion) {
  const std::int64_t total = hits.total;
  if (total <= offset) {
    if (completion) completion(QFContactList(), total, nullptr);
    return;
  }
  if (offset < 0 || limit < 0) {
    throw NSException(NSRangeException,
                      fmt::format("The page of {} contacts from {} on is no part of {} contacts.",
                                  limit, offset, total));
  }
  fetchContactsWithIds(contactIds(hits.window),
                       [total, completion = std::move(completion)](
                           std::optional<QFContactList> contacts, ErrorPtr error) {
                         if (completion) completion(std::move(contacts), total, std::move(error));
                       });
}

void QFContactSearchService::loadContactsWithCompletion(QuickSearchCompletion completion) {
  const auto active = activeSyncInfo();
  const SearchHits all = active ? active->list({}) : SearchHits{};
  fetchContactsWithIds(contactIds(all.window), std::move(completion));
}

void QFContactSearchService::getContactsCountWithCompletion(
    std::function<void(std::int64_t, ErrorPtr)> completion) {
  const std::int64_t count = getTotalContactsCountWithError(nullptr);
  if (completion) completion(count, nullptr);
}

std::int64_t QFContactSearchService::getTotalContactsCountWithError(ErrorPtr* error) {
  const auto active = activeSyncInfo();
  if (active) return active->count();
  if (error != nullptr) {
    *error = searchError(QFSearchErrorCodeFailed, "Failed to retrieve contacts sync info");
  }
  return 0;
}

void QFContactSearchService::fetchContactsWithIds(std::vector<std::string> identifiers,
                                                  QuickSearchCompletion completion) {
  if (identifiers.empty()) {
    if (completion) completion(QFContactList(), nullptr);
    return;
  }
  readStore<std::optional<QFContactList>>(
      [store = contactStore_,
       identifiers = std::move(identifiers)]() -> ReadOutcome<std::optional<QFContactList>> {
        return {readContacts(*store, identifiers), nullptr};
      },
      [](const NSException& exception) {
        const std::string reason = exception.reason();
        return searchError(QFSearchErrorCodeFailed,
                           reason.empty() ? "Error fetching contacts" : reason);
      },
      std::move(completion));
}

QFContactList QFContactSearchService::searchContactsWithQuery(const OptionalString& query,
                                                              std::uint64_t searchFields,
                                                              std::int64_t offset,
                                                              std::int64_t limit, ErrorPtr* error) {
  const BlockingCall call;
  searchContactsWithQuery(query, searchFields, offset, limit,
                          [completion = call.completion()](std::optional<QFContactList> contacts,
                                                           std::int64_t, ErrorPtr failure) {
                            completion(std::move(contacts), std::move(failure));
                          });
  return call.wait(searchError(QFSearchErrorCodeTimedOut, "Search operation timed out"), error);
}

QFContactList QFContactSearchService::quickSearchWithQuery(const OptionalString& query,
                                                           ErrorPtr* error) {
  const BlockingCall call;
  quickSearchWithQuery(query, call.completion());
  return call.wait(searchError(QFSearchErrorCodeTimedOut, "Quick search operation timed out"),
                   error);
}

std::shared_ptr<QFContactSearchService> QFContactService::searchService() {
  return serviceIfReady<QFContactSearchService>(*this, "searchService");
}

}  // namespace quillfold
