#include "backend/store/schema.h"

#include <array>

#include "platform/format.h"

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
};

constexpr auto kVersion = static_cast<std::int64_t>(kSteps.size());

}  // namespace

void prepareSchema(Database& database) {
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
