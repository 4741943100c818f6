// Contacts.
#include <set>

#include "apps/backend/identifiers.h"
#include "apps/backend/store/storage.h"

namespace quillfold::backend {
namespace {

// What the source calls this contact. One without any name of its own is named
// by its content, so that sending it twice stores it once.
std::string identifierOf(const nlohmann::json& contact, const std::string& content) {
  for (const char* key : {"source_contact_id", "id"}) {
    const std::string identifier = contact.value(key, "");
    if (!identifier.empty()) return identifier;
  }
  return nameBasedUuid(content);
}

std::string matchStringOf(const nlohmann::json& contact) {
  const auto found = contact.find("match_string");
  return found != contact.end() && found->is_string() ? found->get<std::string>() : std::string();
}

}  // namespace

UploadOutcome Storage::storeContacts(const std::string& userId, const nlohmann::json& contacts,
                                     bool skipDuplicates, double now) {
  UploadOutcome outcome;
  std::set<std::string> sources;
  const std::lock_guard lock(mutex_);
  Transaction transaction(database_);
  for (const auto& contact : contacts) {
    if (sources.insert(contact.at("source_id").get<std::string>()).second) {
      touchSource(contact, userId, now);
    }
    const bool stored = storeContact(userId, contact, skipDuplicates, now);
    ++(stored ? outcome.processed : outcome.skipped);
  }
  transaction.commit();
  return outcome;
}

// A client that never came to register its source uploads under an identifier
// of its own making; the source is then kept without a name in the client's
// terms.
void Storage::touchSource(const nlohmann::json& contact, const std::string& userId, double now) {
  const std::string id = contact.at("source_id").get<std::string>();
  const std::string organizationId = contact.at("organization_id").get<std::string>();
  database_
      .prepare(
          "INSERT INTO contact_sources (id, organization_id, canonical_contact_id, name,"
          " source_type, is_active, settings, last_sync_at, created_at, updated_at)"
          " VALUES (?1, ?2, ?3, 'Device Contacts', 'device', 1, '{}', ?4, ?4, ?4)"
          " ON CONFLICT (id) DO UPDATE SET last_sync_at = ?4, updated_at = ?4")
      .bind(id, organizationId, userId, now)
      .run();
}

bool Storage::storeContact(const std::string& userId, const nlohmann::json& contact,
                           bool skipDuplicates, double now) {
  const std::string content = contact.dump();
  const std::string identifier = identifierOf(contact, content);
  if (skipDuplicates) {
    Statement read = database_.prepare(
        "SELECT content FROM contacts WHERE user_id = ? AND source_contact_id = ?");
    if (read.bind(userId, identifier).next() && read.text(0) == content) return false;
  }
  const std::string sourceId = contact.at("source_id").get<std::string>();
  const std::string matchString = matchStringOf(contact);
  database_
      .prepare(
          "INSERT INTO contacts (user_id, source_contact_id, source_id, match_string, content,"
          " created_at, updated_at) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?6)"
          " ON CONFLICT (user_id, source_contact_id) DO UPDATE SET source_id = ?3,"
          " match_string = ?4, content = ?5, updated_at = ?6")
      .bind(userId, identifier, sourceId, matchString, content, now)
      .run();
  database_.prepare("DELETE FROM contact_addresses WHERE user_id = ? AND source_contact_id = ?")
      .bind(userId, identifier)
      .run();
  database_
      .prepare(
          "INSERT OR IGNORE INTO contact_addresses SELECT * FROM stated_contact_addresses"
          " WHERE user_id = ? AND source_contact_id = ?")
      .bind(userId, identifier)
      .run();
  return true;
}

std::vector<nlohmann::json> Storage::contacts(const std::string& userId) {
  std::vector<nlohmann::json> all;
  const std::lock_guard lock(mutex_);
  Statement read = database_.prepare(
      "SELECT content FROM contacts WHERE ?1 = '' OR user_id = ?1"
      " ORDER BY user_id, source_contact_id");
  for (read.bind(userId); read.next();)
    all.push_back(nlohmann::json::parse(read.text(0)));
  return all;
}

}  // namespace quillfold::backend
