// Addresses as libcurl reads them.
#pragma once

#include <optional>
#include <string>

namespace quillfold {

enum class AddressKind { Web, OtherScheme, Malformed };

// Web is http or https. An address without a scheme is malformed.
AddressKind addressKind(const std::string& address);

// The address without user name and password; absent if it can't be read.
std::optional<std::string> withoutCredentials(const std::string& address);

}  // namespace quillfold
