// Whom users know of each other, by the addresses of their contacts.
#include "apps/backend/store/queries.h"
#include "apps/backend/store/storage.h"

namespace quillfold::backend {

std::vector<std::string> Storage::contactsToInvite(const std::string& userId, std::int64_t limit) {
  std::vector<std::string> contacts;
  const std::lock_guard lock(mutex_);
  Statement read = database_.prepare(
      "SELECT s.source_contact_id FROM shared_contacts s"
      " JOIN peers p ON p.user_id = s.user_id AND p.peer_id = s.other_id"
      " WHERE s.user_id = ?1 AND s.source_contact_id NOT IN"
      "  (SELECT k.source_contact_id FROM known_users k"
      "   JOIN peers q ON q.user_id = ?1 AND q.peer_id = k.known_id WHERE k.user_id = ?1)"
      " AND s.source_contact_id NOT IN"
      "  (SELECT source_contact_id FROM known_users WHERE user_id = ?1 AND known_id = ?1)"
      " GROUP BY s.source_contact_id ORDER BY count(*) DESC, s.source_contact_id LIMIT ?2");
  for (read.bind(userId, limit); read.next();)
    contacts.push_back(read.text(0));
  return contacts;
}

std::vector<AppUser> Storage::appUsers(const std::string& userId, std::int64_t limit) {
  std::vector<AppUser> users;
  const std::lock_guard lock(mutex_);
  Statement read = database_.prepare(
      "SELECT k.source_contact_id, " + userColumns("u") +
      " FROM known_users k JOIN peers p ON p.user_id = k.user_id AND p.peer_id = k.known_id"
      " JOIN users u ON u.id = k.known_id"
      " WHERE k.user_id = ? ORDER BY k.source_contact_id, u.id LIMIT ?");
  for (read.bind(userId, limit); read.next();)
    users.push_back({read.text(0), readUser(read, 1)});
  return users;
}

std::vector<User> Storage::mightKnow(const std::string& userId, std::int64_t limit) {
  std::vector<User> users;
  const std::lock_guard lock(mutex_);
  Statement read = database_.prepare(
      "WITH shared AS (SELECT other_id, count(*) AS contacts FROM shared_contacts"
      "  WHERE user_id = ?1 GROUP BY other_id),"
      " acquainted AS (SELECT DISTINCT user_id FROM known_users WHERE known_id = ?1) SELECT " +
      userColumns("u") +
      " FROM peers p JOIN users u ON u.id = p.peer_id"
      " LEFT JOIN shared s ON s.other_id = u.id LEFT JOIN acquainted a ON a.user_id = u.id"
      " WHERE p.user_id = ?1 AND (s.contacts IS NOT NULL OR a.user_id IS NOT NULL)"
      " AND u.id NOT IN (SELECT known_id FROM known_users WHERE user_id = ?1)"
      " AND u.id NOT IN (SELECT followed_id FROM follows WHERE follower_id = ?1)"
      " ORDER BY a.user_id IS NULL, s.contacts DESC, u.id LIMIT ?2");
  for (read.bind(userId, limit); read.next();)
    users.push_back(readUser(read, 0));
  return users;
}

}  // namespace quillfold::backend
