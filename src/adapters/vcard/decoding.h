// Encodings of vCard files and values.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillfold::vcard {

// The bytes of a file without a byte order mark. UTF-16 is converted into `storage`;
// everything else is returned as it is, whatever its charset.
std::string_view textOfFile(std::string_view bytes, std::string& storage);

// Bytes of a declared charset, or of none (""), as valid UTF-8 without NUL. Undeclared
// bytes that are not UTF-8 are taken for Latin-1 in the form that Windows gave it.
std::string toUTF8(std::string_view bytes, std::string_view charset);

// Malformed sequences and NUL become U+FFFD.
std::string repairedUTF8(std::string_view bytes);

// Bytes behind "=". What is no hexadecimal number stays. A ";" that was encoded comes
// out as "\;", for it is part of its field and does not end it.
std::string decodedQuotedPrintable(std::string_view text);

// Percent escapes resolved.
std::string decodedPercent(std::string_view text);

// The decoded bytes; absent if the text holds a character that is no base64.
std::optional<std::string> decodedBase64(std::string_view text);

}  // namespace quillfold::vcard
