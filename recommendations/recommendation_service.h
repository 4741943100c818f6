// People to invite and people the user might know.
#pragma once

#include <memory>

namespace quillfold {

class QFContactService;

class QFRecommendationService {
 public:
  static std::shared_ptr<QFRecommendationService> initWithContactService(
      std::shared_ptr<QFContactService> contactService) {
    return std::shared_ptr<QFRecommendationService>(new QFRecommendationService(std::move(contactService)));
  }

  const std::shared_ptr<QFContactService>& contactService() const { return contactService_; }

 private:
  explicit QFRecommendationService(std::shared_ptr<QFContactService> contactService)
      : contactService_(std::move(contactService)) {}
  std::shared_ptr<QFContactService> contactService_;
};

}  // namespace quillfold
