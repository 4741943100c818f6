// The invented people of a demonstration.
#include "apps/backend/store/queries.h"
#include "apps/backend/store/storage.h"

namespace quillfold::backend {
std::vector<DemoContact> Storage::contactsForDemo(const std::string& userId, std::int64_t limit) {
  std::vector<DemoContact> contacts;
  const std::lock_guard lock(mutex_);
  Statement read = database_.prepare(
      "SELECT c.source_contact_id, c.content FROM contacts c WHERE c.user_id = ?1"
      " AND NOT EXISTS (SELECT 1 FROM demo_circles WHERE user_id = ?1)"
      " AND c.source_contact_id IN"
      "  (SELECT source_contact_id FROM contact_addresses WHERE user_id = ?1)"
      " AND c.source_contact_id NOT IN"
      "  (SELECT source_contact_id FROM known_users WHERE user_id = ?1)"
      " ORDER BY c.source_contact_id LIMIT ?2");
  for (read.bind(userId, limit); read.next();)
    contacts.push_back({read.text(0), jsonColumn(read, 1)});
  return contacts;
}

void Storage::addDemoCircle(const std::string& userId, const DemoCircle& circle) {
  const std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  // Two uploads of the user may have come here at once.
  if (!database_
           .prepare(
               "INSERT INTO demo_circles (user_id) VALUES (?) ON CONFLICT DO NOTHING RETURNING 1")
           .bind(userId)
           .next()) {
    return;
  }
  for (const auto& person : circle.people)
    putDemoPerson(userId, person);
  for (const auto& person : circle.people) {
    const std::string& id = person.user.id;
    for (const std::string& followed : person.follows)
      putFollow(id, followed, person.user.createdAt);
    if (person.isFollowed) putFollow(userId, id, person.user.createdAt);
    for (const Event& event : person.events) {
      if (!findEvent(event.id)) putEvent(event);
    }
  }
  transaction.commit();
}

void Storage::putDemoPerson(const std::string& userId, const DemoCircle::Person& person) {
  const User& user = person.user;
  const auto userInfo = jsonText(user.userInfo);
  database_
      .prepare(
          "INSERT OR IGNORE INTO users (id, organization_id, user_info, device_info, created_at,"
          " updated_at) VALUES (?1, ?2, ?3, '{}', ?4, ?4)")
      .bind(user.id, user.organizationId, userInfo, user.createdAt)
      .run();
  putAddresses(user.id);
  for (const std::string& contact : person.contacts) {
    database_
        .prepare(
            "INSERT OR IGNORE INTO contact_addresses SELECT ?1, source_contact_id, address"
            " FROM contact_addresses WHERE user_id = ?2 AND source_contact_id = ?3")
        .bind(user.id, userId, contact)
        .run();
  }
  if (!person.knowsUser) return;
  database_
      .prepare(
          "INSERT OR IGNORE INTO contact_addresses SELECT ?1, 'contact of ' || user_id, address"
          " FROM user_addresses WHERE user_id = ?2")
      .bind(user.id, userId)
      .run();
}

}  // namespace quillfold::backend
