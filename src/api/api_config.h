// Where the backend is and what its paths are called.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/export.h"

namespace quillfold {

enum QFAPIEnvironment : std::int64_t {
  QFAPIEnvironmentDev = 0,
  QFAPIEnvironmentStaging = 1,
  QFAPIEnvironmentProd = 2,
};

// The environment is process-wide, starts at development and is read for each
// request that is built. A host sets it before its first request. Any thread.
class QUILLFOLD_EXPORT QFAPIConfig {
 public:
  static std::int64_t environment();
  // Any number is stored; unknown ones behave as development.
  static void setEnvironment(std::int64_t environment);
  static void configureWithEnvironment(std::int64_t environment);
  // Always production.
  static void configureForCurrentEnvironment();
  // "dev", "staging" or "prod"; "dev" for an unknown number.
  static std::string stringFromEnvironment(std::int64_t environment);

  // The address of the environment in use.
  static std::string baseURL();
  // Staging has no host of its own and shares production's.
  static std::string apiBaseForEnvironment(std::int64_t environment);
  static std::string apiVersion();

  // In seconds; for hosts, no request of the library uses them.
  static double defaultTimeout();
  static double uploadTimeout();
  // The limit of the deferred task; the sync of the facade has its own size.
  static std::int64_t maxContactsPerBatch();
  static std::string websiteURL();

  static std::string tokenEndpoint();
  static std::string contactsEndpoint();
  static std::string contactsSyncEndpoint();
  static std::string contactSourceEndpoint();
  static std::string userInfoEndpoint();
  static std::string validateAPIKeyEndpoint();
  static std::string healthEndpoint();
  // "shared-contacts-across-users", despite the name.
  static std::string sharedContactsToInviteEndpoint();
  static std::string appUserContactsEndpoint();
  // "users-who-might-know-me", despite the name.
  static std::string usersYouMightKnowEndpoint();

  static std::string socialBasePath();
  static std::string followEndpoint();
  static std::string unfollowEndpoint();
  static std::string isFollowingEndpoint();
  static std::string followersEndpoint();
  static std::string followingEndpoint();
  static std::string mutualFollowsEndpoint();
  static std::string eventsEndpoint();
  static std::string feedEndpoint();
  static std::string upcomingEventsEndpoint();
  static std::string forYouEndpoint();
};

}  // namespace quillfold
