#include "apps/backend/store/schema.h"

#include <fmt/format.h>
#include <array>

#include "apps/backend/store/address_key.h"

namespace quillfold::backend {
namespace {

// Step i leads from version i to version i + 1. Steps are only ever appended.
// Times are seconds since 1970; settings, metadata and contents are JSON.
constexpr std::array kSteps = {
    R"(
CREATE TABLE users (
  id TEXT PRIMARY KEY,
  organization_id TEXT NOT NULL,
  user_info TEXT,
  device_info TEXT NOT NULL,
  created_at REAL NOT NULL,
  updated_at REAL NOT NULL
) STRICT, WITHOUT ROWID;

CREATE TABLE tokens (
  token TEXT PRIMARY KEY,
  user_id TEXT NOT NULL REFERENCES users (id),
  expires_at INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
CREATE INDEX tokens_expires_at ON tokens (expires_at);

CREATE TABLE contact_sources (
  id TEXT PRIMARY KEY,
  organization_id TEXT NOT NULL,
  canonical_contact_id TEXT NOT NULL,
  identifier TEXT,
  name TEXT NOT NULL,
  source_type TEXT NOT NULL,
  is_active INTEGER NOT NULL,
  settings TEXT NOT NULL,
  last_sync_at REAL,
  created_at REAL NOT NULL,
  updated_at REAL NOT NULL,
  CONSTRAINT contact_sources_organization_id_canonical_contact_id_source_key
    UNIQUE (organization_id, canonical_contact_id, identifier)
) STRICT, WITHOUT ROWID;

CREATE TABLE contacts (
  user_id TEXT NOT NULL REFERENCES users (id),
  source_contact_id TEXT NOT NULL,
  source_id TEXT NOT NULL REFERENCES contact_sources (id),
  match_string TEXT NOT NULL,
  content TEXT NOT NULL,
  created_at REAL NOT NULL,
  updated_at REAL NOT NULL,
  PRIMARY KEY (user_id, source_contact_id)
) STRICT, WITHOUT ROWID;
)",
    // People find each other by their addresses, in the form of address_key. The
    // views "stated" read them from what came up, which the tables index.
    R"(
CREATE TABLE user_addresses (
  user_id TEXT NOT NULL REFERENCES users (id),
  address TEXT NOT NULL,
  PRIMARY KEY (user_id, address)
) STRICT, WITHOUT ROWID;
CREATE INDEX user_addresses_address ON user_addresses (address);

CREATE TABLE contact_addresses (
  user_id TEXT NOT NULL REFERENCES users (id),
  source_contact_id TEXT NOT NULL,
  address TEXT NOT NULL,
  PRIMARY KEY (user_id, source_contact_id, address)
) STRICT, WITHOUT ROWID;
CREATE INDEX contact_addresses_address ON contact_addresses (address);

CREATE VIEW stated_user_addresses (user_id, address) AS
  SELECT id, address_key(json_extract(user_info, path.column1))
  FROM users, (VALUES ('$.email'), ('$.phone')) AS path;
CREATE VIEW stated_contact_addresses (user_id, source_contact_id, address) AS
  SELECT user_id, source_contact_id, address_key(json_extract(entry.value, '$.value'))
  FROM contacts, (VALUES ('$.email_addresses'), ('$.phone_numbers')) AS path,
    json_each(content, path.column1) AS entry;
INSERT OR IGNORE INTO user_addresses SELECT * FROM stated_user_addresses;
INSERT OR IGNORE INTO contact_addresses SELECT * FROM stated_contact_addresses;

CREATE VIEW peers (user_id, peer_id) AS
  SELECT me.id, other.id FROM users me JOIN users other USING (organization_id)
  WHERE me.id <> other.id;
CREATE VIEW known_users (user_id, source_contact_id, known_id) AS
  SELECT DISTINCT mine.user_id, mine.source_contact_id, known.user_id
  FROM contact_addresses mine JOIN user_addresses known USING (address);
CREATE VIEW shared_contacts (user_id, source_contact_id, other_id) AS
  SELECT DISTINCT mine.user_id, mine.source_contact_id, theirs.user_id
  FROM contact_addresses mine JOIN contact_addresses theirs USING (address)
  WHERE mine.user_id <> theirs.user_id;

CREATE TABLE follows (
  follower_id TEXT NOT NULL REFERENCES users (id),
  followed_id TEXT NOT NULL REFERENCES users (id),
  id TEXT NOT NULL UNIQUE,
  created_at REAL NOT NULL,
  PRIMARY KEY (follower_id, followed_id),
  CHECK (follower_id <> followed_id)
) STRICT, WITHOUT ROWID;
CREATE INDEX follows_followed_id ON follows (followed_id);

CREATE TABLE events (
  id TEXT PRIMARY KEY,
  user_id TEXT NOT NULL REFERENCES users (id),
  organization_id TEXT NOT NULL,
  event_type TEXT NOT NULL,
  title TEXT NOT NULL,
  description TEXT,
  location TEXT,
  start_time REAL,
  end_time REAL,
  metadata TEXT,
  is_public INTEGER NOT NULL,
  created_at REAL NOT NULL,
  updated_at REAL NOT NULL
) STRICT, WITHOUT ROWID;
CREATE INDEX events_user_id ON events (user_id);
CREATE INDEX events_organization_id ON events (organization_id);

CREATE TABLE demo_circles (
  user_id TEXT PRIMARY KEY REFERENCES users (id)
) STRICT, WITHOUT ROWID;
)",
};

constexpr auto kVersion = static_cast<std::int64_t>(kSteps.size());

}  // namespace

void prepareSchema(Database& database) {
  database.addFunction("address_key", addressKey);
  database.execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;");
  database.execute("PRAGMA foreign_keys = ON;");
  Transaction transaction(database);
  std::int64_t version = 0;
  {
    Statement read = database.prepare("PRAGMA user_version");
    read.next();
    version = read.integer(0);
  }
  if (version < 0 || version > kVersion) {
    throw DatabaseError(fmt::format("the database has version {}, known is {}", version, kVersion));
  }
  for (auto step = static_cast<std::size_t>(version); step < kSteps.size(); ++step) {
    database.execute(kSteps[step]);
  }
  database.execute(fmt::format("PRAGMA user_version = {}", kVersion));
  transaction.commit();
}

}  // namespace quillfold::backend
