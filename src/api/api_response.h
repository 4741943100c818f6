// The envelope of an answer, as a record.
#pragma once

#include <memory>
#include <optional>

#include "foundation/export.h"
#include "foundation/optional_string.h"
#include "foundation/property.h"
#include "foundation/value.h"

namespace quillfold {

// Status, message and payload of an answer. For hosts that read answers of their
// own: the client hands on plain values and makes none of these. Immutable.
class QUILLFOLD_EXPORT QFAPIResponse {
 public:
  static std::shared_ptr<const QFAPIResponse> initWithStatus(OptionalString status,
                                                             OptionalString message,
                                                             std::optional<Value> data);

  QUILLFOLD_READONLY_PROPERTY(OptionalString, status);
  QUILLFOLD_READONLY_PROPERTY(OptionalString, message);
  // Absent is not JSON null.
  QUILLFOLD_READONLY_PROPERTY(std::optional<Value>, data);

 private:
  QFAPIResponse() = default;
};

using QFAPIResponsePtr = std::shared_ptr<const QFAPIResponse>;

}  // namespace quillfold
