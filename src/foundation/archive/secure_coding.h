// Objects that keyed archives hold.
#pragma once

#include <memory>
#include <string_view>

#include "foundation/export.h"

namespace quillfold {

class KeyedDecoder;
class KeyedObjectEncoder;

// An object that is archived as a record of its own. A class that can be read
// back too has a static `kClassName` and a static `initWithCoder(KeyedDecoder&)`,
// which returns a shared pointer.
class QUILLFOLD_EXPORT NSSecureCoding {
 public:
  virtual ~NSSecureCoding() = default;
  // The name that stands in the archive.
  virtual std::string_view archivedClassName() const = 0;
  // Gives the coder each key once. A key must not begin with "$".
  virtual void encodeWithCoder(KeyedObjectEncoder& coder) const = 0;
};

using NSSecureCodingPtr = std::shared_ptr<NSSecureCoding>;

// A class whose objects a reader allows: its name in the archive, and what makes
// an object of a record's keys. A null object fails the archive.
struct SecureClass {
  std::string_view name;
  NSSecureCodingPtr (*initWithCoder)(KeyedDecoder& coder);
};

template <typename T>
constexpr SecureClass secureClass() {
  return {T::kClassName,
          [](KeyedDecoder& coder) -> NSSecureCodingPtr { return T::initWithCoder(coder); }};
}

}  // namespace quillfold
