#include "api/api_config.h"

#include <atomic>

namespace quillfold {

namespace {

std::atomic<std::int64_t> currentEnvironment = QFAPIEnvironmentDev;

std::string clientPath(const char* name) {
  return "/api/" + QFAPIConfig::apiVersion() + "/client/" + name;
}

std::string socialPath(const char* name) {
  return QFAPIConfig::socialBasePath() + '/' + name;
}

}  // namespace

std::int64_t QFAPIConfig::environment() {
  return currentEnvironment;
}
void QFAPIConfig::setEnvironment(std::int64_t environment) {
  currentEnvironment = environment;
}
void QFAPIConfig::configureWithEnvironment(std::int64_t environment) {
  setEnvironment(environment);
}
void QFAPIConfig::configureForCurrentEnvironment() {
  setEnvironment(QFAPIEnvironmentProd);
}

std::string QFAPIConfig::stringFromEnvironment(std::int64_t environment) {
  switch (environment) {
    case QFAPIEnvironmentStaging:
      return "staging";
    case QFAPIEnvironmentProd:
      return "prod";
    default:
      return "dev";
  }
}

std::string QFAPIConfig::baseURL() {
  return apiBaseForEnvironment(environment());
}

std::string QFAPIConfig::apiBaseForEnvironment(std::int64_t environment) {
  const bool production =
      environment == QFAPIEnvironmentStaging || environment == QFAPIEnvironmentProd;
  return production ? QUILLFOLD_PRODUCTION_URL : QUILLFOLD_DEVELOPMENT_URL;
}

std::string QFAPIConfig::apiVersion() {
  return "v1";
}
double QFAPIConfig::defaultTimeout() {
  return 60.0;
}
double QFAPIConfig::uploadTimeout() {
  return 180.0;
}
std::int64_t QFAPIConfig::maxContactsPerBatch() {
  return 50;
}
std::string QFAPIConfig::websiteURL() {
  return QUILLFOLD_WEBSITE_URL;
}

std::string QFAPIConfig::tokenEndpoint() {
  return clientPath("generate-token");
}
std::string QFAPIConfig::contactsEndpoint() {
  return clientPath("contacts");
}
std::string QFAPIConfig::contactsSyncEndpoint() {
  return clientPath("contacts/sync");
}
std::string QFAPIConfig::contactSourceEndpoint() {
  return clientPath("contact-source");
}
std::string QFAPIConfig::userInfoEndpoint() {
  return clientPath("user-info");
}
std::string QFAPIConfig::validateAPIKeyEndpoint() {
  return clientPath("validate-key");
}
std::string QFAPIConfig::healthEndpoint() {
  return "/health";
}
std::string QFAPIConfig::sharedContactsToInviteEndpoint() {
  return clientPath("shared-contacts-across-users");
}
std::string QFAPIConfig::appUserContactsEndpoint() {
  return clientPath("contacts-app-users");
}
std::string QFAPIConfig::usersYouMightKnowEndpoint() {
  return clientPath("users-who-might-know-me");
}

std::string QFAPIConfig::socialBasePath() {
  return "/api/" + apiVersion() + "/social";
}
std::string QFAPIConfig::followEndpoint() {
  return socialPath("follow");
}
std::string QFAPIConfig::unfollowEndpoint() {
  return socialPath("unfollow");
}
std::string QFAPIConfig::isFollowingEndpoint() {
  return socialPath("is-following");
}
std::string QFAPIConfig::followersEndpoint() {
  return socialPath("followers");
}
std::string QFAPIConfig::followingEndpoint() {
  return socialPath("following");
}
std::string QFAPIConfig::mutualFollowsEndpoint() {
  return socialPath("mutual-follows");
}
std::string QFAPIConfig::eventsEndpoint() {
  return socialPath("events");
}
std::string QFAPIConfig::feedEndpoint() {
  return socialPath("feed");
}
std::string QFAPIConfig::upcomingEventsEndpoint() {
  return socialPath("upcoming-events");
}
std::string QFAPIConfig::forYouEndpoint() {
  return socialPath("for-you");
}

}  // namespace quillfold
