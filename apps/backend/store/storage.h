// Everything that the backend remembers.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "apps/backend/store/database.h"
#include "apps/backend/store/records.h"

namespace quillfold::backend {

// Each operation is one transaction and may be called from any thread. All
// throw DatabaseError.
class Storage {
 public:
  // A file, or ":memory:".
  explicit Storage(const std::string& file);

  // Keeps the token and its user. A user that is known keeps its organization
  // and, if none comes with the token, its user info.
  void addToken(const Token& token, const User& user);
  // Absent if there is no such token. Expired ones are found for a day.
  std::optional<Token> token(const std::string& token);

  std::optional<User> user(const std::string& id);
  void setOrganization(const std::string& userId, const std::string& organizationId, double now);

  // Throws UniqueViolation if organization, canonical contact and identifier are
  // those of a source that is there.
  void addSource(const ContactSource& source);

  // Stores valid contacts of a user, each under its source's own identifier.
  // With `skipDuplicates` one that equals the stored one is left alone.
  UploadOutcome storeContacts(const std::string& userId, const nlohmann::json& contacts,
                              bool skipDuplicates, double now);
  // --- People. Users see each other only within their organization. -----------

  // The contacts of a user that contacts of others have an address in common with
  // and that are no users themselves; those that most others have come first.
  std::vector<std::string> contactsToInvite(const std::string& userId, std::int64_t limit);
  // The contacts of a user that have an address of another user.
  std::vector<AppUser> appUsers(const std::string& userId, std::int64_t limit);
  // Users who have the user among their contacts, then those who share contacts
  // with the user; without the user's own contacts and whom the user follows.
  std::vector<User> mightKnow(const std::string& userId, std::int64_t limit);

  // --- Following. ----------------------------------------------------------------

  // False if it was so already.
  bool follow(const std::string& followerId, const std::string& followedId, double now);
  bool unfollow(const std::string& followerId, const std::string& followedId);
  bool isFollowing(const std::string& followerId, const std::string& followedId);
  // Who follows the user, and whom the user follows, the latest first, as the
  // viewer sees it.
  Page<Follow> followers(const std::string& userId, const std::string& viewer, PageRange range);
  Page<Follow> following(const std::string& userId, const std::string& viewer, PageRange range);
  Page<User> mutualFollows(const std::string& userId, PageRange range);

  // --- Events. A user sees all of the own ones, and of others the public ones. ----

  void addEvent(const Event& event);
  std::optional<Event> event(const std::string& id);
  // Stores what `change` makes of the event; an exception of it leaves all as it
  // was. Returns false if there is no such event.
  bool changeEvent(const std::string& id, const std::function<void(Event&)>& change);
  // The same for deleting, which `check` may refuse by an exception.
  bool deleteEvent(const std::string& id, const std::function<void(const Event&)>& check);

  // The events of a user, the latest first, as the viewer sees them.
  Page<Event> eventsOf(const std::string& userId, const std::string& viewer, PageRange range);
  // The user's own and those of whom the user follows, the latest first.
  Page<Event> feed(const std::string& userId, PageRange range);
  // Of these the ones that are not over, by the time they begin.
  Page<Event> upcomingEvents(const std::string& userId, double now, PageRange range);
  // Events of others in the organization whom the user does not follow; of those
  // first with whom the user shares most contacts, then the latest.
  Page<Event> eventsForYou(const std::string& userId, PageRange range);

  // --- Demo people. ----------------------------------------------------------------

  // What a circle can be made of: contacts of the user that have an address and are
  // no users yet, by their identifiers. Empty if the user has a circle.
  std::vector<DemoContact> contactsForDemo(const std::string& userId, std::int64_t limit);
  // Adds the people around a user, unless the user has such a circle. What is there
  // already stays as it is.
  void addDemoCircle(const std::string& userId, const DemoCircle& circle);

  // --- For developers. --------------------------------------------------------------

  // The contacts of a user, or of all users for "", ordered by user and
  // identifier, as they came.
  std::vector<nlohmann::json> contacts(const std::string& userId);

 private:
  void touchSource(const nlohmann::json& contact, const std::string& userId, double now);
  bool storeContact(const std::string& userId, const nlohmann::json& contact, bool skipDuplicates,
                    double now);
  std::optional<Event> findEvent(const std::string& id);
  bool putFollow(const std::string& followerId, const std::string& followedId, double now);
  void putEvent(const Event& event);
  void putAddresses(const std::string& userId);
  void putDemoPerson(const std::string& userId, const DemoCircle::Person& person);

  std::mutex mutex_;
  Database database_;
};

}  // namespace quillfold::backend
