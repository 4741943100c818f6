// What the backend keeps, as plain values. Times are seconds since 1970.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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

// Where a page of a list begins, and how long it may be.
struct PageRange {
  std::int64_t skip = 0;
  std::int64_t limit = 0;
};

template <typename Item>
struct Page {
  std::int64_t total = 0;  // Of the whole list.
  std::vector<Item> items;
};

// A contact of one user that stands for another user.
struct AppUser {
  std::string sourceContactId;
  User user;
};

struct Follow {
  std::string id;
  User follower;
  User followed;
  double createdAt = 0;
  // As the user sees it who asks for the list:
  bool isFollowing = false;              // Whether that one follows the listed person,
  std::optional<std::string> contactId;  // and which contact stands for the person.
};

struct Event {
  std::string id;
  std::string userId;
  std::string organizationId;
  std::string eventType;
  std::string title;
  std::optional<std::string> description;
  std::optional<std::string> location;
  std::optional<double> startTime;
  std::optional<double> endTime;
  nlohmann::json metadata;  // An object, or null.
  bool isPublic = false;
  double createdAt = 0;
  double updatedAt = 0;
  nlohmann::json creatorInfo;  // The user info of its user; set by reading only.
};

struct DemoContact {
  std::string sourceContactId;
  nlohmann::json content;  // As it came up.
};

// Invented people around one user.
struct DemoCircle {
  struct Person {
    User user;
    std::vector<std::string> contacts;  // The user's contacts whom this person knows, too.
    std::vector<std::string> follows;   // Users, by identifier.
    bool knowsUser = false;             // Has the user among the contacts.
    bool isFollowed = false;            // By the user.
    std::vector<Event> events;
  };
  std::vector<Person> people;
};

}  // namespace quillfold::backend
