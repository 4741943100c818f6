// A contact of the device that is recommended to the user.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "foundation/export.h"
#include "foundation/json_field.h"
#include "foundation/property.h"
#include "model/contact.h"

namespace quillfold {

enum QFRecommendationType : std::int64_t {
  QFRecommendationTypeSharedContact = 0,
  QFRecommendationTypeAppUser = 1,
  QFRecommendationTypeMightKnow = 2,
};

// Has no setters: may be handed between threads, as long as nobody changes the
// contact.
class QUILLFOLD_EXPORT QFContactRecommendation {
 public:
  static std::shared_ptr<QFContactRecommendation> initWithContact(QFContactPtr contact,
                                                                  double score, std::string reason,
                                                                  std::int64_t type,
                                                                  JSONField organizationUserId);

  QUILLFOLD_READONLY_PROPERTY(QFContactPtr, contact);
  // At most 1; the higher, the better.
  QUILLFOLD_READONLY_PROPERTY(double, score);
  // A sentence for the user.
  QUILLFOLD_READONLY_PROPERTY(std::string, reason);
  // A number of QFRecommendationType.
  QUILLFOLD_READONLY_PROPERTY(std::int64_t, type);
  // The user of the server's, as it was sent; absent where it sent an identifier
  // only.
  QUILLFOLD_READONLY_PROPERTY(JSONField, organizationUserId);

 private:
  QFContactRecommendation() = default;
};

using QFContactRecommendationPtr = std::shared_ptr<QFContactRecommendation>;

}  // namespace quillfold
