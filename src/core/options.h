// What a host asks of the library at its start.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "foundation/export.h"
#include "foundation/value.h"

namespace quillfold {

// Fields of the address book that are read only where a host asks for them.
enum QFContactDataRestriction : std::int64_t { QFContactDataRestrictionNotes = 0 };

class QUILLFOLD_EXPORT QFContactDataRestrictionUtils {
 public:
  // The platform's key of the restricted field; "" for an unknown number.
  static std::string contactKeyFromRestriction(std::int64_t restriction);
};

// Immutable; may be read from any thread.
class QUILLFOLD_EXPORT QFQuillfoldOptions {
 public:
  // The restricted fields that are to be fetched. Members are not checked:
  // unknown numbers are kept and ignored.
  static std::shared_ptr<const QFQuillfoldOptions> initWithRestrictedKeysToFetch(
      std::set<std::int64_t> restrictedKeys);
  // No restricted field is fetched.
  static std::shared_ptr<const QFQuillfoldOptions> defaultOptions();

  // Keeps the options in the user defaults under "com.quillfold.options". The
  // library never reads them back; a host may.
  void saveToUserDefaults() const;
  // What was saved last, or the default options. A stored member that is no whole
  // number is dropped.
  static std::shared_ptr<const QFQuillfoldOptions> loadFromUserDefaults();

  // The fields that a host wants fetched, despite the name. A copy: options are often
  // asked for and let go in one expression.
  std::set<std::int64_t> restrictedKeysToFetch() const { return restrictedKeysToFetch_; }

 private:
  explicit QFQuillfoldOptions(std::set<std::int64_t> restrictedKeys)
      : restrictedKeysToFetch_(std::move(restrictedKeys)) {}
  std::set<std::int64_t> restrictedKeysToFetch_;
};

using QFQuillfoldOptionsPtr = std::shared_ptr<const QFQuillfoldOptions>;

}  // namespace quillfold
