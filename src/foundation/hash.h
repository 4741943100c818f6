// Message digests.
#pragma once

#include <string>
#include <string_view>

#include "foundation/export.h"

namespace quillfold {

// The SHA-256 digest of the bytes, as 64 lowercase hexadecimal digits.
QUILLFOLD_EXPORT_INTERNAL std::string sha256Hex(std::string_view bytes);

}  // namespace quillfold
