// The signed-in user of the host application.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "foundation/export.h"
#include "foundation/optional_string.h"
#include "foundation/property.h"
#include "foundation/value.h"

namespace quillfold {

// Immutable; may be read from any thread.
class QUILLFOLD_EXPORT QFUserInfo {
 public:
  // `metadata` is free-form and must be expressible as JSON.
  static std::shared_ptr<const QFUserInfo> initWithUserId(
      std::string userId, OptionalString fullName, OptionalString email, OptionalString phone,
      OptionalString avatarUrl = {}, std::optional<Dictionary> metadata = {});

  // True with a non-empty user id and a non-empty e-mail address or phone number.
  bool isValid() const;

  // The host's identifier of the user.
  QUILLFOLD_READONLY_PROPERTY(std::string, userId);
  QUILLFOLD_READONLY_PROPERTY(OptionalString, fullName);
  QUILLFOLD_READONLY_PROPERTY(OptionalString, email);
  QUILLFOLD_READONLY_PROPERTY(OptionalString, phone);
  QUILLFOLD_READONLY_PROPERTY(OptionalString, avatarUrl);
  QUILLFOLD_READONLY_PROPERTY(std::optional<Dictionary>, metadata);

 private:
  QFUserInfo() = default;
};

using QFUserInfoPtr = std::shared_ptr<const QFUserInfo>;

}  // namespace quillfold
