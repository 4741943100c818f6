// How good a recommendation is, and why it is made.
#include <algorithm>

#include "platform/clock.h"
#include "recommendations/recommendation_service.h"

namespace quillfold {

namespace {

constexpr double kThirtyDays = 2592000.0;

double sharedContactScore(const QFContact& contact) {
  const double score = 0.3 * static_cast<double>(contact.phoneNumbers().size()) +
                       0.2 * static_cast<double>(contact.emailAddresses().size());
  return contact.lastSyncedAt() > 0 ? score + 0.5 : score;
}

// Rises with the age of the last sync, not with its freshness, and falls below its
// start for a sync in the future.
double appUserScore(const QFContact& contact) {
  if (!(contact.lastSyncedAt() > 0)) return 0.8;
  const double age = (currentTime() - contact.lastSyncedAt()) / kThirtyDays;
  return age > 0.2 ? 1.0 : 0.8 + age;
}

double mightKnowScore(const QFContact& contact) {
  const double score = contact.phoneNumbers().empty() ? 0.7 : 0.85;
  return contact.emailAddresses().empty() ? score : score + 0.15;
}

double unboundedScore(const QFContact& contact, std::int64_t type) {
  switch (type) {
    case QFRecommendationTypeSharedContact:
      return sharedContactScore(contact);
    case QFRecommendationTypeAppUser:
      return appUserScore(contact);
    case QFRecommendationTypeMightKnow:
      return mightKnowScore(contact);
    default:
      return 0.0;
  }
}

}  // namespace

double QFRecommendationService::calculateRecommendationScoreForContact(const QFContact& contact,
                                                                       std::int64_t type) const {
  return std::min(1.0, unboundedScore(contact, type));
}

std::string QFRecommendationService::generateRecommendationReasonForContact(
    const QFContact&, std::int64_t type) const {
  switch (type) {
    case QFRecommendationTypeMightKnow:
      return "You might know this person";
    case QFRecommendationTypeAppUser:
      return "Already using the app";
    default:
      return "Based on your mutual connections";
  }
}

}  // namespace quillfold
