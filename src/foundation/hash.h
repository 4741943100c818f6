// Message digests.
#pragma once

#include <string>
#include <string_view>

namespace quillfold {

// The SHA-256 digest of the bytes, as 64 lowercase hexadecimal digits.
std::string sha256Hex(std::string_view bytes);

}  // namespace quillfold
