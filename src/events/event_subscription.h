// One note of a screen: what it has subscribed to.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "foundation/export.h"
#include "foundation/property.h"

namespace quillfold {

class QUILLFOLD_EXPORT QFEventSubscription {
 public:
  static std::shared_ptr<QFEventSubscription> initWithEvent(std::int64_t event,
                                                            std::string identifier);

  // A number of QFEventType.
  QUILLFOLD_PROPERTY(std::int64_t, event, setEvent);
  QUILLFOLD_PROPERTY(std::string, identifier, setIdentifier);

 private:
  QFEventSubscription() = default;
};

}  // namespace quillfold
