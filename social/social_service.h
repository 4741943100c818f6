// The follow graph, social events and feeds.
#pragma once

#include <memory>

namespace quillfold {

class QFContactService;

class QFSocialService {
 public:
  static std::shared_ptr<QFSocialService> initWithContactService(
      std::shared_ptr<QFContactService> contactService) {
    return std::shared_ptr<QFSocialService>(new QFSocialService(std::move(contactService)));
  }

  const std::shared_ptr<QFContactService>& contactService() const { return contactService_; }

 private:
  explicit QFSocialService(std::shared_ptr<QFContactService> contactService)
      : contactService_(std::move(contactService)) {}
  std::shared_ptr<QFContactService> contactService_;
};

}  // namespace quillfold
