// Events and the lists of them.
#include "apps/backend/store/queries.h"
#include "apps/backend/store/storage.h"

namespace quillfold::backend {
namespace {

constexpr const char* kSelect =
    "SELECT e.id, e.user_id, e.organization_id, e.event_type, e.title, e.description, e.location,"
    " e.start_time, e.end_time, e.metadata, e.is_public, e.created_at, e.updated_at, u.user_info"
    " FROM events e JOIN users u ON u.id = e.user_id WHERE ";

constexpr const char* kFollowed =
    "e.user_id IN (SELECT followed_id FROM follows WHERE follower_id = ?1)";
constexpr const char* kLatestEventFirst = "e.created_at DESC, e.id";

// The user's own, and the public ones of whom the user follows.
std::string inFeed() {
  return std::string("(e.user_id = ?1 OR (e.is_public AND ") + kFollowed + "))";
}

Event readEvent(const Statement& row) {
  Event event;
  event.id = row.text(0);
  event.userId = row.text(1);
  event.organizationId = row.text(2);
  event.eventType = row.text(3);
  event.title = row.text(4);
  event.description = row.optionalText(5);
  event.location = row.optionalText(6);
  event.startTime = row.optionalNumber(7);
  event.endTime = row.optionalNumber(8);
  event.metadata = jsonColumn(row, 9);
  event.isPublic = row.integer(10) != 0;
  event.createdAt = row.number(11);
  event.updatedAt = row.number(12);
  event.creatorInfo = jsonColumn(row, 13);
  return event;
}

}  // namespace

void Storage::addEvent(const Event& event) {
  const std::lock_guard lock(mutex_);
  putEvent(event);
}

void Storage::putEvent(const Event& event) {
  const auto metadata = jsonText(event.metadata);
  database_
      .prepare(
          "INSERT OR REPLACE INTO events (id, user_id, organization_id, event_type, title,"
          " description, location, start_time, end_time, metadata, is_public, created_at,"
          " updated_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(event.id, event.userId, event.organizationId, event.eventType, event.title,
            event.description, event.location, event.startTime, event.endTime, metadata,
            event.isPublic, event.createdAt, event.updatedAt)
      .run();
}

std::optional<Event> Storage::event(const std::string& id) {
  const std::lock_guard lock(mutex_);
  return findEvent(id);
}

std::optional<Event> Storage::findEvent(const std::string& id) {
  Statement read = database_.prepare(std::string(kSelect) + "e.id = ?");
  if (!read.bind(id).next()) return std::nullopt;
  return readEvent(read);
}

bool Storage::changeEvent(const std::string& id, const std::function<void(Event&)>& change) {
  const std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  auto event = findEvent(id);
  if (!event) return false;
  change(*event);
  putEvent(*event);
  transaction.commit();
  return true;
}

bool Storage::deleteEvent(const std::string& id, const std::function<void(const Event&)>& check) {
  const std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  const auto event = findEvent(id);
  if (!event) return false;
  check(*event);
  database_.prepare("DELETE FROM events WHERE id = ?").bind(id).run();
  transaction.commit();
  return true;
}

Page<Event> Storage::eventsOf(const std::string& userId, const std::string& viewer,
                              PageRange range) {
  const std::lock_guard lock(mutex_);
  return readPage(database_, std::string(kSelect) + "e.user_id = ?1 AND (e.is_public OR ?1 = ?2)",
                  kLatestEventFirst, range, readEvent, userId, viewer);
}

Page<Event> Storage::feed(const std::string& userId, PageRange range) {
  const std::lock_guard lock(mutex_);
  return readPage(database_, kSelect + inFeed(), kLatestEventFirst, range, readEvent, userId);
}

Page<Event> Storage::upcomingEvents(const std::string& userId, double now, PageRange range) {
  const std::lock_guard lock(mutex_);
  return readPage(database_, kSelect + inFeed() + " AND coalesce(e.end_time, e.start_time) >= ?2",
                  "coalesce(e.start_time, e.end_time), e.id", range, readEvent, userId, now);
}

Page<Event> Storage::eventsForYou(const std::string& userId, PageRange range) {
  const std::string others =
      std::string("e.is_public AND e.user_id <> ?1 AND NOT ") + kFollowed +
      " AND e.organization_id = (SELECT organization_id FROM users WHERE id = ?1)";
  const std::string sharedContacts =
      "(SELECT count(*) FROM shared_contacts s WHERE s.user_id = ?1 AND s.other_id = e.user_id)";
  const std::lock_guard lock(mutex_);
  return readPage(database_, kSelect + others, sharedContacts + " DESC, " + kLatestEventFirst,
                  range, readEvent, userId);
}

}  // namespace quillfold::backend
