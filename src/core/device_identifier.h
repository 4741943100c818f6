// The identifier of this installation, shared by everything that names the
// device.
#pragma once

#include <string>

namespace quillfold {

enum class IdentifierCase { Upper, Lower };

// The stored identifier; a new random one is stored, in the given case, if there
// is none. Any thread.
std::string storedDeviceIdentifier(IdentifierCase newIdentifierCase = IdentifierCase::Upper);

// The identifier of this device's contact source: "device_" and the device
// identifier.
std::string localSourceIdentifier(IdentifierCase newIdentifierCase = IdentifierCase::Upper);

// A new random identifier in the given case.
std::string newIdentifier(IdentifierCase identifierCase);

}  // namespace quillfold
