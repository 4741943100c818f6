#include "recommendations/contact_recommendation.h"

namespace quillfold {

QFContactRecommendationPtr QFContactRecommendation::initWithContact(QFContactPtr contact,
                                                                    double score,
                                                                    std::string reason,
                                                                    std::int64_t type,
                                                                    JSONField organizationUserId) {
  QFContactRecommendationPtr recommendation(new QFContactRecommendation);
  recommendation->contact_ = std::move(contact);
  recommendation->score_ = score;
  recommendation->reason_ = std::move(reason);
  recommendation->type_ = type;
  recommendation->organizationUserId_ = std::move(organizationUserId);
  return recommendation;
}

}  // namespace quillfold
