// Searches the bookkeeping on the device.
#pragma once

#include <memory>

namespace quillfold {

class QFContactService;

class QFContactSearchService {
 public:
  static std::shared_ptr<QFContactSearchService> initWithContactService(
      std::shared_ptr<QFContactService> contactService) {
    return std::shared_ptr<QFContactSearchService>(
        new QFContactSearchService(std::move(contactService)));
  }

  const std::shared_ptr<QFContactService>& contactService() const { return contactService_; }

 private:
  explicit QFContactSearchService(std::shared_ptr<QFContactService> contactService)
      : contactService_(std::move(contactService)) {}
  std::shared_ptr<QFContactService> contactService_;
};

}  // namespace quillfold
