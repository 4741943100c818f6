#include "core/user_info.h"

namespace quillfold {

QFUserInfoPtr QFUserInfo::initWithUserId(std::string userId, OptionalString fullName,
                                         OptionalString email, OptionalString phone,
                                         OptionalString avatarUrl,
                                         std::optional<Dictionary> metadata) {
  std::shared_ptr<QFUserInfo> user(new QFUserInfo);
  user->userId_ = std::move(userId);
  user->fullName_ = std::move(fullName);
  user->email_ = std::move(email);
  user->phone_ = std::move(phone);
  user->avatarUrl_ = std::move(avatarUrl);
  user->metadata_ = std::move(metadata);
  return user;
}

bool QFUserInfo::isValid() const {
  return !userId_.empty() && (isNonEmpty(email_) || isNonEmpty(phone_));
}

}  // namespace quillfold
