// Texts in other charsets than UTF-8.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/export.h"

namespace quillfold {

// The bytes as UTF-8; malformed sequences become U+FFFD. Absent for a charset that is not
// known. The name may load a converter: pass none that holds more than letters, digits,
// "-", "_" and ".". At most 2 GB.
QUILLFOLD_EXPORT_INTERNAL std::optional<std::string> utf8FromCharset(std::string_view bytes,
                                                                     const std::string& charset);

}  // namespace quillfold
