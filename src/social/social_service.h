// The follow graph, social events and feeds.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/optional_string.h"
#include "social/social_records.h"

namespace quillfold {

class QFAPIClient;
class QFContactService;

inline constexpr const char* QFSocialServiceErrorDomain = "QFSocialService";
enum QFSocialServiceErrorCode : std::int64_t {
  QFSocialServiceErrorCodeInvalidResponse = 1001,
};

// The client of the backend's social part. It keeps nothing between calls, sorts
// and filters nothing and passes on what it is given: `skip` and `limit` are not
// tested, and identifiers go into paths as they are.
//
// Operations may be called from any thread and return at once. A completion may be
// an empty function and is called exactly once, on the main queue; a call in
// flight keeps the service alive. A failed request gives the client's error
// (QFAPIErrorDomain) and no record; the one for a body that JSON can't hold comes
// on the thread that got there. Where an answer has another form than the record
// both arguments are absent: an answer of no content. The lists of people alone
// report QFSocialServiceErrorDomain 1001 instead.
class QUILLFOLD_EXPORT QFSocialService : public std::enable_shared_from_this<QFSocialService> {
 public:
  template <typename Record>
  using Completion = std::function<void(std::shared_ptr<Record> record, ErrorPtr error)>;
  using EnrichmentCompletion = std::function<void(QFPaginatedFollowListPtr list)>;

  // Keeps the facade alive; it may be absent. Takes the shared client.
  static std::shared_ptr<QFSocialService> initWithContactService(
      std::shared_ptr<QFContactService> contactService);

  QFSocialService(const QFSocialService&) = delete;
  QFSocialService& operator=(const QFSocialService&) = delete;

  const std::shared_ptr<QFAPIClient>& apiClient() const { return apiClient_; }
  const std::shared_ptr<QFContactService>& contactService() const { return contactService_; }

  // --- The follow graph ------------------------------------------------------

  // Both ask the server; the record says what has come of it.
  void followUser(const std::string& userId, Completion<QFFollowActionResponse> completion);
  void unfollowUser(const std::string& userId, Completion<QFFollowActionResponse> completion);
  // Whether the user of this installation follows the other one.
  void isFollowingUser(const std::string& userId, Completion<QFFollowStatusResponse> completion);

  // One page of the people who follow a user, or whom a user follows, with the local
  // contact of each row that has one. What an absent user stands for is the server's
  // to say. Anything but an object is QFSocialServiceErrorDomain 1001.
  void getFollowersWithUserId(const OptionalString& userId, std::int64_t skip, std::int64_t limit,
                              Completion<QFPaginatedFollowList> completion);
  void getFollowingWithUserId(const OptionalString& userId, std::int64_t skip, std::int64_t limit,
                              Completion<QFPaginatedFollowList> completion);
  // One page of the people with whom the following is mutual, never with local
  // contacts. Anything but an object is QFSocialServiceErrorDomain 1001.
  void getMutualFollowsWithSkip(std::int64_t skip, std::int64_t limit,
                                Completion<QFPaginatedMutualFollowers> completion);

  // Gives the completion a deep copy of the list, with the same rows in the same
  // order, in which the rows whose `contactId` names a contact of the device have
  // their `localContact`. What can't be found is logged. `list` is not changed; null
  // gives null. Without a facade the completion gets a plain copy before the call
  // returns.
  void enrichWithLocalContacts(const QFPaginatedFollowListPtr& list,
                               EnrichmentCompletion completion);

  // --- Events and feeds --------------------------------------------------------

  // Creates an event. As with changing and deleting, the record says whether the
  // server has done it: one with `success` false comes without an error.
  void createEvent(const std::shared_ptr<QFCreateEventRequest>& event,
                   Completion<QFEventActionResponse> completion);
  // One event, as the server has it.
  void getEvent(const std::string& eventId, Completion<QFSocialEvent> completion);
  // Changes what is set in `eventData`; with nothing set an empty object is sent.
  void updateEvent(const std::string& eventId,
                   const std::shared_ptr<QFUpdateEventRequest>& eventData,
                   Completion<QFEventActionResponse> completion);
  void deleteEvent(const std::string& eventId, Completion<QFEventActionResponse> completion);

  // One page of a user's events. What an absent user stands for is the server's to
  // say. The people of events are not joined with local contacts.
  void getUserEventsWithUserId(const OptionalString& userId, std::int64_t skip, std::int64_t limit,
                               Completion<QFPaginatedEventList> completion);
  // One page of what the server selects for the user of this installation.
  void getFeedWithSkip(std::int64_t skip, std::int64_t limit,
                       Completion<QFPaginatedEventList> completion);
  void getUpcomingEventsWithSkip(std::int64_t skip, std::int64_t limit,
                                 Completion<QFPaginatedEventList> completion);
  void getForYouFeedWithSkip(std::int64_t skip, std::int64_t limit,
                             Completion<QFPaginatedEventList> completion);

 private:
  explicit QFSocialService(std::shared_ptr<QFContactService> contactService);
  void getFollowList(const std::string& endpoint, const OptionalString& userId, std::int64_t skip,
                     std::int64_t limit, Completion<QFPaginatedFollowList> completion);

  std::shared_ptr<QFAPIClient> apiClient_;
  std::shared_ptr<QFContactService> contactService_;
};

}  // namespace quillfold
