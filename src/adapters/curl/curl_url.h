// Addresses as libcurl reads them.
#pragma once

#include <optional>
#include <string>

namespace quillfold {

enum class AddressKind { Web, OtherScheme, Malformed };

// Web is http or https. An address without a scheme is malformed.
AddressKind addressKind(const std::string& address);

// The address with scheme, host and port of the origin; as it is if either can't be read.
std::string atOrigin(const std::string& address, const std::string& origin);

// The address without user name and password; absent if it can't be read.
std::optional<std::string> withoutCredentials(const std::string& address);

}  // namespace quillfold
