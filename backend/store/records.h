// What the backend keeps, as plain values. Times are seconds since 1970.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace quillfold::backend {

struct User {
  std::string id;
  std::string organizationId;
  nlohmann::json userInfo;  // An object; null if none came.
  nlohmann::json deviceInfo;
  double createdAt = 0;
  double updatedAt = 0;
};

struct Token {
  std::string token;
  std::string userId;
  std::int64_t expiresAt = 0;
};

struct ContactSource {
  std::string id;
  std::string organizationId;
  std::string canonicalContactId;
  std::optional<std::string> identifier;  // Absent if contacts came before the source.
  std::string name;
  std::string sourceType;
  bool isActive = true;
  nlohmann::json settings = nlohmann::json::object();
  std::optional<double> lastSyncAt;
  double createdAt = 0;
  double updatedAt = 0;
};

struct UploadOutcome {
  std::int64_t processed = 0;  // Stored anew, or stored again.
  std::int64_t skipped = 0;    // Equal to what is stored.
};

}  // namespace quillfold::backend
