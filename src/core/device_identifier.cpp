#include "core/device_identifier.h"

#include <mutex>

#include "core/defaults_keys.h"
#include "foundation/text.h"
#include "foundation/uuid.h"
#include "platform/user_defaults.h"

namespace quillfold {

std::string newIdentifier(IdentifierCase identifierCase) {
  std::string identifier = NSUUID::UUIDString();
  return identifierCase == IdentifierCase::Lower ? text::lowercaseString(identifier) : identifier;
}

std::string storedDeviceIdentifier(IdentifierCase newIdentifierCase) {
  // Two first readers at once must not end up with two identifiers.
  static std::mutex& mutex = *new std::mutex;
  const std::lock_guard lock(mutex);
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  if (auto stored = defaults.stringForKey(defaults_keys::kDeviceIdentifier)) return *stored;
  const std::string identifier = newIdentifier(newIdentifierCase);
  defaults.setObject(identifier, defaults_keys::kDeviceIdentifier);
  return identifier;
}

std::string localSourceIdentifier(IdentifierCase newIdentifierCase) {
  return "device_" + storedDeviceIdentifier(newIdentifierCase);
}

}  // namespace quillfold
