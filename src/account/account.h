// One signed-in user on this device: the front door of the library.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "account/operation.h"
#include "foundation/export.h"
#include "foundation/value.h"
#include "model/contact.h"
#include "recommendations/contact_recommendation.h"
#include "social/social_records.h"

namespace quillfold {

class AccountSession;

struct AccountUser {
  // The host's own identifier of the user.
  std::string id{};
  // One of the two has to be there.
  std::string email{};
  std::string phone{};
  std::string fullName{};
  std::string avatarUrl{};
  // Free-form; must be expressible as JSON.
  std::optional<Dictionary> metadata{};
};

// What the sync has done, by the runs' own count.
struct SyncReport {
  std::int64_t read = 0;
  std::int64_t uploaded = 0;
  std::int64_t batches = 0;
  // Cards of the address book that could not be read and are left out.
  std::int64_t skipped = 0;
  // Of the bodies of uploads.
  std::int64_t bytes = 0;
  // That the runs took.
  double seconds = 0;
  // Whether what was on record could be read. If not, all of it went up once more.
  bool bookkeepingRead = true;
  // Whether what went up is on record on the disk. If not, it goes up once more.
  bool bookkeepingWritten = true;
  // Whether a stop ended it.
  bool stopped = false;
};

// What onChange tells.
struct AccountChange {
  enum class Kind {
    // The address book has changed. The library starts a sync by itself.
    AddressBook,
    // A run of the sync has ended, whoever started it.
    Sync,
  };
  Kind kind = Kind::AddressBook;
  // Of a run: what it has done, and why it ended if it failed.
  std::optional<SyncReport> report{};
  std::optional<Failure> failure{};
};

struct AccountConfiguration {
  std::string apiKey{};
  // Kept on the device; it never leaves it.
  std::string token{};
  AccountUser user{};
  // Whether the notes of contacts are read, where the choice is the host's.
  bool readNotes = false;
  // Contacts per upload, from 1 to 1000.
  std::int64_t batchSize = 20;
  // As a handler of Account::onChange, from before the library's first run until the account is
  // closed.
  std::function<void(const AccountChange& change)> onChange{};
};

// Which part of a list; both from 0 on. A limit is the caller's choice.
struct Page {
  std::int64_t offset = 0;
  std::int64_t limit = 20;
};

struct SyncProgress {
  // Contacts: in the address book, in need of an upload, uploaded so far.
  std::int64_t read = 0;
  std::int64_t toUpload = 0;
  std::int64_t uploaded = 0;
  // Batches so far.
  std::int64_t batch = 0;
};

struct SyncOptions {
  // Called on the main queue after reading and after each batch.
  std::function<void(const SyncProgress& progress)> progress{};
  // Ends the run between two batches, or by ending its own request, and one that the library
  // began by itself as well; never another `sync`, nor a run of the host's own. What went up
  // stays recorded, and the next run sends the rest; a batch whose request it ended is neither
  // recorded nor counted, and goes up again though the backend may have taken it.
  std::stop_token stop{};
};

struct ContactPage {
  QFContactList contacts{};
  // Of all that match, not only of this page.
  std::int64_t total = 0;
};

// Ends a subscription of onChange when it goes.
class [[nodiscard]] AccountSubscription {
 public:
  AccountSubscription() = default;
  explicit AccountSubscription(std::shared_ptr<void> token) : token_(std::move(token)) {}

 private:
  std::shared_ptr<void> token_;
};

// A user's way to everything that the library does. Does all in the right order: the
// client gets its user, facade and client are linked, the organization is kept, and a user
// other than the last one gets bookkeeping of his own and no token of somebody else's.
//
// One account is open at a time in a process, and one process at a time on a home. A
// handle: copies stand for the same account, which closes with `close`, or with the last of
// them once no operation is under way any more. Any thread. Failures are Failure: those of
// the account in AccountErrorDomain, the backend's in QFAPIErrorDomain, the address book's in
// QFErrorDomain (with 1006 for a refusal). An answer 401 or 403 renews the token once and
// asks once more.
class QUILLFOLD_EXPORT Account {
 public:
  // Starts the library for the user: validates the key, then a first sync begins by
  // itself if contacts may be read. Fails with AccountErrorCodeInvalidConfiguration,
  // AccountErrorCodeAlreadyOpen, AccountErrorCodeHomeInUse, the errors of the validation, and
  // those of NSCocoaErrorDomain where the folder of the bookkeeping can't be made or locked, or
  // the settings can't be read or written.
  // Cancelled, it stops that sync, waits for it, and fails with AccountErrorCodeClosed.
  static Operation<Account> open(AccountConfiguration configuration);
  // Stops a sync of this account, waits for it, and resets the library. What is on record
  // stays. Everything else fails with AccountErrorCodeClosed from then on.
  Operation<void> close() const;
  bool isOpen() const;
  const AccountUser& user() const;
  // Without an account, asking no backend and changing nothing: the file of a user's
  // bookkeeping, there or not (QFContactService::setSyncInfoFilePath), and a text as `search`
  // looks for it.
  static std::string bookkeepingPath(const std::string& userId);
  static std::string searchText(const std::string& text);
  // Why the file of the bookkeeping could not be read when the library last looked
  // (QFContactService::loadSyncInfoCache); absent if it could, or is not there.
  static std::optional<Failure> bookkeepingProblem();

  // --- The address book ------------------------------------------------------

  // Asks for the permission if nothing has been decided yet, waits for a run that is under
  // way, whoever started it, and uploads what has changed since. The report counts all runs
  // until its end in; the first one those since the opening, where one began by itself.
  // Cancelled, it is stopped as by `SyncOptions::stop`: it ends with its report.
  Operation<SyncReport> sync(SyncOptions options = {}) const;
  // What a sync would upload now.
  Operation<QFContactList> plan() const;
  // Whether contacts may be read; asks if nothing has been decided yet.
  Operation<bool> requestAccess() const;
  // All contacts of the address book.
  Operation<QFContactList> contacts() const;
  // One contact; fails with QFErrorDomain 1004 if there is none.
  Operation<QFContactPtr> contact(std::string identifier) const;
  // Contacts that are on record and have all words of the text; all of them without one.
  // What looks like a phone number is looked for by its digits. Reads no backend.
  Operation<ContactPage> search(std::string text, Page page = {}) const;
  // The first 20 that have the text as it stands.
  Operation<QFContactList> quickSearch(std::string text) const;
  // Asks the system for a sync in the background, in 15 minutes at the earliest and once. It
  // is that of the account which is open then. Fails with BGTaskSchedulerErrorDomain where
  // the system refuses, or the host has a handler of its own for the task.
  Operation<void> deferSync() const;
  // Calls the handler on the main queue, until the subscription goes.
  AccountSubscription onChange(std::function<void(const AccountChange& change)> handler) const;

  // --- People --------------------------------------------------------------------

  // Contacts that others share, by score; contacts who use the application; people of the
  // backend's. The limit goes to the backend as it is.
  Operation<std::vector<QFContactRecommendationPtr>> peopleToInvite(std::int64_t limit) const;
  Operation<std::vector<QFLocalCanonicalContactPtr>> contactsUsingApp(std::int64_t limit) const;
  Operation<std::vector<QFCanonicalContactPtr>> peopleYouMightKnow(std::int64_t limit) const;

  Operation<std::shared_ptr<QFFollowActionResponse>> follow(std::string userId) const;
  Operation<std::shared_ptr<QFFollowActionResponse>> unfollow(std::string userId) const;
  Operation<bool> isFollowing(std::string userId) const;
  // Of this user where none is named.
  Operation<QFPaginatedFollowListPtr> followers(Page page = {}, OptionalString userId = {}) const;
  Operation<QFPaginatedFollowListPtr> following(Page page = {}, OptionalString userId = {}) const;
  Operation<std::shared_ptr<QFPaginatedMutualFollowers>> mutualFollows(Page page = {}) const;

  // --- Events --------------------------------------------------------------------

  Operation<std::shared_ptr<QFEventActionResponse>> createEvent(
      std::shared_ptr<QFCreateEventRequest> event) const;
  Operation<std::shared_ptr<QFSocialEvent>> event(std::string eventId) const;
  Operation<std::shared_ptr<QFEventActionResponse>> updateEvent(
      std::string eventId, std::shared_ptr<QFUpdateEventRequest> changes) const;
  Operation<std::shared_ptr<QFEventActionResponse>> deleteEvent(std::string eventId) const;
  Operation<std::shared_ptr<QFPaginatedEventList>> events(Page page = {},
                                                          OptionalString userId = {}) const;
  Operation<std::shared_ptr<QFPaginatedEventList>> feed(Page page = {}) const;
  Operation<std::shared_ptr<QFPaginatedEventList>> upcomingEvents(Page page = {}) const;
  Operation<std::shared_ptr<QFPaginatedEventList>> forYou(Page page = {}) const;

 private:
  friend class AccountSession;
  explicit Account(std::shared_ptr<AccountSession> session) : session_(std::move(session)) {}

  std::shared_ptr<AccountSession> session_;
};

}  // namespace quillfold
