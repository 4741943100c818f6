// Everything that the backend remembers.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "backend/store/database.h"
#include "backend/store/records.h"

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
  // The contacts of a user, or of all users for "", ordered by user and
  // identifier, as they came.
  std::vector<nlohmann::json> contacts(const std::string& userId);

 private:
  void touchSource(const nlohmann::json& contact, const std::string& userId, double now);
  bool storeContact(const std::string& userId, const nlohmann::json& contact, bool skipDuplicates,
                    double now);

  std::mutex mutex_;
  Database database_;
};

}  // namespace quillfold::backend
