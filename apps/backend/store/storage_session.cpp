// Users, tokens and sources.
#include "apps/backend/store/queries.h"
#include "apps/backend/store/schema.h"
#include "apps/backend/store/storage.h"

namespace quillfold::backend {
namespace {

constexpr std::int64_t kExpiredTokensStay = 86400;

}  // namespace

Storage::Storage(const std::string& file) : database_(file) {
  prepareSchema(database_);
}

void Storage::addToken(const Token& token, const User& user) {
  const auto userInfo = jsonText(user.userInfo);
  const std::string deviceInfo = user.deviceInfo.dump();
  const std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  database_
      .prepare(
          "INSERT INTO users (id, organization_id, user_info, device_info, created_at, updated_at)"
          " VALUES (?, ?, ?, ?, ?, ?) ON CONFLICT (id) DO UPDATE SET"
          " user_info = coalesce(excluded.user_info, user_info),"
          " device_info = excluded.device_info, updated_at = excluded.updated_at")
      .bind(user.id, user.organizationId, userInfo, deviceInfo, user.createdAt, user.updatedAt)
      .run();
  putAddresses(user.id);
  const auto forgotten = static_cast<std::int64_t>(user.updatedAt) - kExpiredTokensStay;
  database_.prepare("DELETE FROM tokens WHERE expires_at < ?").bind(forgotten).run();
  database_.prepare("INSERT INTO tokens (token, user_id, expires_at) VALUES (?, ?, ?)")
      .bind(token.token, token.userId, token.expiresAt)
      .run();
  transaction.commit();
}

void Storage::putAddresses(const std::string& userId) {
  database_.prepare("DELETE FROM user_addresses WHERE user_id = ?").bind(userId).run();
  database_
      .prepare(
          "INSERT OR IGNORE INTO user_addresses"
          " SELECT * FROM stated_user_addresses WHERE user_id = ?")
      .bind(userId)
      .run();
}

std::optional<Token> Storage::token(const std::string& token) {
  const std::lock_guard lock(mutex_);
  Statement read = database_.prepare("SELECT user_id, expires_at FROM tokens WHERE token = ?");
  if (!read.bind(token).next()) return std::nullopt;
  return Token{token, read.text(0), read.integer(1)};
}

std::optional<User> Storage::user(const std::string& id) {
  const std::lock_guard lock(mutex_);
  const std::string sql = "SELECT " + userColumns("u") + " FROM users u WHERE u.id = ?";
  Statement read = database_.prepare(sql);
  if (!read.bind(id).next()) return std::nullopt;
  return readUser(read, 0);
}

void Storage::setOrganization(const std::string& userId, const std::string& organizationId,
                              double now) {
  const std::lock_guard lock(mutex_);
  database_.prepare("UPDATE users SET organization_id = ?, updated_at = ? WHERE id = ?")
      .bind(organizationId, now, userId)
      .run();
}

void Storage::addSource(const ContactSource& source) {
  const std::string settings = source.settings.dump();
  const std::lock_guard lock(mutex_);
  database_
      .prepare(
          "INSERT INTO contact_sources (id, organization_id, canonical_contact_id, identifier,"
          " name, source_type, is_active, settings, last_sync_at, created_at, updated_at)"
          " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(source.id, source.organizationId, source.canonicalContactId, source.identifier,
            source.name, source.sourceType, source.isActive, settings, source.lastSyncAt,
            source.createdAt, source.updatedAt)
      .run();
}

}  // namespace quillfold::backend
