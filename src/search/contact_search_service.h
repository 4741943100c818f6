// Searching on the device the contacts that the library has seen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/optional_string.h"
#include "model/contact.h"

namespace quillfold {

class CNContactStore;
class QFContactService;
class SearchSnapshot;
struct SearchHits;

inline constexpr const char* QFSearchErrorDomain = "com.quillfold.search";

enum QFSearchErrorCode : std::int64_t {
  QFSearchErrorCodeFailed = -1,
  QFSearchErrorCodeTimedOut = -2,
};

// What each token of a query is looked for in. A number is taken as a whole: it
// looks like a set of bits and is none. Any other number finds nothing.
enum QFSearchFieldType : std::uint64_t {
  // The sort name alone.
  QFSearchFieldTypeName = 1,
  // These five and All behave alike: everything by which a contact is found.
  QFSearchFieldTypePhone = 2,
  QFSearchFieldTypeEmail = 4,
  QFSearchFieldTypeAddress = 8,
  QFSearchFieldTypeOrganization = 16,
  QFSearchFieldTypeOther = 32,
  QFSearchFieldTypeAll = 4294967295U,
};

// The contacts are absent after an error. `total` counts all that were found,
// before the page was cut, also where reading the page failed.
using SearchCompletion =
    std::function<void(std::optional<QFContactList> contacts, std::int64_t total, ErrorPtr error)>;
using QuickSearchCompletion =
    std::function<void(std::optional<QFContactList> contacts, ErrorPtr error)>;

// Filters the bookkeeping of the sync in memory and reads from the address book
// only the contacts of the page that it returns. No ranking: results are in
// ascending order of the sort name, upper case before lower case. Matching
// ignores case and takes canonically equivalent texts for equal; accents count.
//
// Any thread. An operation filters on its caller's thread. A completion runs on
// the main queue once contacts have been read, and otherwise, where there is
// none to read, before the operation returns; it may be empty. A contact that
// can't be read is logged and left out, and so is every later one of the page
// that leaves the error where it is. An exception of the store fails the whole
// page with QFSearchErrorDomain -1.
//
// A page that begins in front of the first contact, or ends in front of its
// begin, raises NSException "NSRangeException" on the caller's thread; one beyond
// the end is empty.
class QUILLFOLD_EXPORT QFContactSearchService {
 public:
  // An instance of its own, beside the one of QFContactService::searchService.
  static const std::shared_ptr<QFContactSearchService>& sharedInstance();
  // A service for the shared QFContactService.
  static std::shared_ptr<QFContactSearchService> init();
  // Does not keep the contact service alive. Without it there are no contacts.
  static std::shared_ptr<QFContactSearchService> initWithContactService(
      const std::shared_ptr<QFContactService>& contactService);

  QFContactSearchService(const QFContactSearchService&) = delete;
  QFContactSearchService& operator=(const QFContactSearchService&) = delete;

  // Logs; returns true.
  bool initialize();

  // The contacts that contain every word of the query, each anywhere. Without a
  // word in it, all contacts, whatever the field type (QFSearchFieldType).
  void searchContactsWithQuery(const OptionalString& query, std::uint64_t fieldType,
                               std::int64_t offset, std::int64_t limit,
                               SearchCompletion completion);
  // The first 20 contacts that contain the query as it is, with its inner blanks.
  // With an empty or blank query the first 20 of all.
  void quickSearchWithQuery(const OptionalString& query, QuickSearchCompletion completion);
  // A page of all contacts.
  void getContactsWithOffset(std::int64_t offset, std::int64_t limit, SearchCompletion completion);
  // All contacts.
  void loadContactsWithCompletion(QuickSearchCompletion completion);

  // Runs the completion, always without an error, before it returns.
  void getContactsCountWithCompletion(std::function<void(std::int64_t, ErrorPtr)> completion);
  // Without the contact service 0 and, where there is a place for it,
  // QFSearchErrorDomain -1.
  std::int64_t getTotalContactsCountWithError(ErrorPtr* error);

  // The searches above, waiting for the result: absent contacts come back as
  // none, the error in its place if there is one. After 10 seconds they give up
  // with QFSearchErrorDomain -2. Not for the main queue: whatever has contacts to
  // read waits there for itself.
  [[nodiscard]] QFContactList searchContactsWithQuery(const OptionalString& query,
                                                      std::uint64_t searchFields,
                                                      std::int64_t offset, std::int64_t limit,
                                                      ErrorPtr* error = nullptr);
  [[nodiscard]] QFContactList quickSearchWithQuery(const OptionalString& query,
                                                   ErrorPtr* error = nullptr);
  // A bare nullptr could be either an empty completion or no place for an error.
  void searchContactsWithQuery(const OptionalString& query, std::uint64_t fieldType,
                               std::int64_t offset, std::int64_t limit, std::nullptr_t) = delete;
  void quickSearchWithQuery(const OptionalString& query, std::nullptr_t) = delete;

  // The words of the query in lower case, in their order, repetitions included.
  std::vector<std::string> tokenizeQuery(const OptionalString& query) const;
  // Reads the contacts, without their notes, in the order of the identifiers.
  void fetchContactsWithIds(std::vector<std::string> identifiers, QuickSearchCompletion completion);

  // Null once the service is gone.
  std::shared_ptr<QFContactService> contactService() const { return contactService_.lock(); }
  const std::shared_ptr<CNContactStore>& contactStore() const { return contactStore_; }

 private:
  explicit QFContactSearchService(const std::shared_ptr<QFContactService>& contactService);

  // What activeSyncInfo lists; null without the contact service.
  std::shared_ptr<const SearchSnapshot> activeSyncInfo() const;
  void fetchPage(const SearchHits& hits, std::int64_t offset, std::int64_t limit,
                 SearchCompletion completion);

  const std::weak_ptr<QFContactService> contactService_;
  const std::shared_ptr<CNContactStore> contactStore_;
};

}  // namespace quillfold
