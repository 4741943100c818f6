// Who follows whom.
#include "apps/backend/identifiers.h"
#include "apps/backend/store/queries.h"
#include "apps/backend/store/storage.h"

namespace quillfold::backend {
namespace {

// The rows of a list whose people stand at `listed`, one end of each row, and which
// is that of user ?1, at the other end, seen by user ?2.
std::string listQuery(const std::string& listed, const std::string& owner) {
  return "SELECT f.id, f.created_at,"
         " EXISTS (SELECT 1 FROM follows v WHERE v.follower_id = ?2 AND v.followed_id = f." +
         listed +
         "), (SELECT min(k.source_contact_id) FROM known_users k"
         " WHERE k.user_id = ?2 AND k.known_id = f." +
         listed + "), " + userColumns("a") + ", " + userColumns("b") +
         " FROM follows f JOIN users a ON a.id = f.follower_id"
         " JOIN users b ON b.id = f.followed_id WHERE f." +
         owner + " = ?1";
}

constexpr const char* kLatestFollowFirst = "f.created_at DESC, f.follower_id, f.followed_id";

Follow readFollow(const Statement& row) {
  return {row.text(0),   readUser(row, 4),    readUser(row, 4 + kUserColumns),
          row.number(1), row.integer(2) != 0, row.optionalText(3)};
}

User readFollowedUser(const Statement& row) {
  return readUser(row, 0);
}

}  // namespace

bool Storage::follow(const std::string& followerId, const std::string& followedId, double now) {
  const std::lock_guard lock(mutex_);
  return putFollow(followerId, followedId, now);
}

bool Storage::putFollow(const std::string& followerId, const std::string& followedId, double now) {
  const std::string id = randomUuid();
  return database_
      .prepare(
          "INSERT INTO follows (follower_id, followed_id, id, created_at) VALUES (?, ?, ?, ?)"
          " ON CONFLICT (follower_id, followed_id) DO NOTHING RETURNING 1")
      .bind(followerId, followedId, id, now)
      .next();
}

bool Storage::unfollow(const std::string& followerId, const std::string& followedId) {
  const std::lock_guard lock(mutex_);
  return database_
      .prepare("DELETE FROM follows WHERE follower_id = ? AND followed_id = ? RETURNING 1")
      .bind(followerId, followedId)
      .next();
}

bool Storage::isFollowing(const std::string& followerId, const std::string& followedId) {
  const std::lock_guard lock(mutex_);
  return database_.prepare("SELECT 1 FROM follows WHERE follower_id = ? AND followed_id = ?")
      .bind(followerId, followedId)
      .next();
}

Page<Follow> Storage::followers(const std::string& userId, const std::string& viewer,
                                PageRange range) {
  const std::lock_guard lock(mutex_);
  return readPage(database_, listQuery("follower_id", "followed_id"), kLatestFollowFirst, range,
                  readFollow, userId, viewer);
}

Page<Follow> Storage::following(const std::string& userId, const std::string& viewer,
                                PageRange range) {
  const std::lock_guard lock(mutex_);
  return readPage(database_, listQuery("followed_id", "follower_id"), kLatestFollowFirst, range,
                  readFollow, userId, viewer);
}

Page<User> Storage::mutualFollows(const std::string& userId, PageRange range) {
  const std::string query = "SELECT " + userColumns("u") +
                            " FROM follows f JOIN follows back ON back.follower_id = f.followed_id"
                            " AND back.followed_id = f.follower_id"
                            " JOIN users u ON u.id = f.followed_id WHERE f.follower_id = ?1";
  const std::lock_guard lock(mutex_);
  return readPage(database_, query, kLatestFollowFirst, range, readFollowedUser, userId);
}

}  // namespace quillfold::backend
