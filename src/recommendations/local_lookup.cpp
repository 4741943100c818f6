// From identifiers to contacts of the device, and to recommendations of them.
#include <algorithm>

#include "api/response.h"
#include "contacts/contacts_authorization.h"
#include "model/contact_mapper.h"
#include "platform/contact_store.h"
#include "platform/log_line.h"
#include "recommendations/recommendation_service.h"

namespace quillfold {

namespace {

using RecommendationList = std::vector<QFContactRecommendationPtr>;

// The best first; equal scores stay in the server's order.
RecommendationList byScore(RecommendationList recommendations) {
  std::stable_sort(recommendations.begin(), recommendations.end(),
                   [](const auto& a, const auto& b) { return a->score() > b->score(); });
  return recommendations;
}

}  // namespace

QFContactPtr QFRecommendationService::findLocalContactByID(const std::string& contactID) const {
  try {
    const auto store = CNContactStore::create();
    if (!QFContactsAuthorizationService::sharedInstance()->hasContactsReadAccess()) {
      os_log_error(logger_, "Contact store access not authorized");
      return nullptr;
    }
    ErrorPtr error;
    const auto contact =
        store->unifiedContactWithIdentifier(contactID, QFContactMapper::keysToFetch(false), &error);
    if (!error && contact) return QFContactMapper::contactFromCNContact(*contact);
    os_log_error(logger_, "Failed to fetch contact with ID {}: {}", contactID,
                 error ? error->localizedDescription() : "Contact not found");
  } catch (const NSException& exception) {
    os_log_error(logger_, "Exception when fetching contact: {}", exception.reason());
  }
  return nullptr;
}

QFContactRecommendationPtr QFRecommendationService::recommendationFor(
    const JSONField& contactID, std::int64_t type, JSONField organizationUserId) const {
  const QFContactPtr contact = findLocalContactByID(contactID.description());
  if (!contact) return nullptr;
  return QFContactRecommendation::initWithContact(
      contact, calculateRecommendationScoreForContact(*contact, type),
      generateRecommendationReasonForContact(*contact, type), type, std::move(organizationUserId));
}

RecommendationList QFRecommendationService::recommendationsForContactIDs(const Array& contactIDs,
                                                                         std::int64_t type) const {
  RecommendationList recommendations;
  for (const Value& contactID : contactIDs) {
    auto recommendation = recommendationFor(contactID, type, JSONField());
    if (recommendation) recommendations.push_back(std::move(recommendation));
  }
  return byScore(std::move(recommendations));
}

void QFRecommendationService::lookupContactsAndCreateRecommendationsWithContactIDs(
    const Array& contactIDs, std::int64_t type, Completion<QFContactRecommendation> completion) {
  auto recommendations = recommendationsForContactIDs(contactIDs, type);
  if (completion) completion(std::move(recommendations), nullptr);
}

void QFRecommendationService::lookupContactsAndCreateRecommendationsWithContactInfos(
    const Array& contactInfos, std::int64_t type, Completion<QFContactRecommendation> completion) {
  RecommendationList recommendations;
  for (const Value& info : contactInfos) {
    const Value* contactID = entry(info, "source_contact_id");
    if (contactID == nullptr) continue;
    auto recommendation =
        recommendationFor(*contactID, type, JSONField(entry(info, "organization_user_id")));
    if (recommendation) recommendations.push_back(std::move(recommendation));
  }
  if (completion) completion(byScore(std::move(recommendations)), nullptr);
}

}  // namespace quillfold
