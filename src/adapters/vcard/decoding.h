// Encodings of vCard files and values.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillfold::vcard {

// The bytes of a file without a byte order mark. UTF-16 is converted into `storage`;
// everything else is returned as it is, whatever its charset.
std::string_view textOfFile(std::string_view bytes, std::string& storage);

// Bytes of a declared charset, or of none (""), as valid UTF-8 without NUL, which becomes
// U+FFFD as malformed sequences do. Undeclared bytes that are not UTF-8 are taken for
// Latin-1 in the form that Windows gave it. Absent if the bytes themselves will do.
std::optional<std::string> convertedToUTF8(std::string_view bytes, std::string_view charset);

// A value behind ENCODING=QUOTED-PRINTABLE, as UTF-8 and with the escapes that it would
// have without that encoding. What is no hexadecimal number stays. A ";" that was encoded
// is part of its field and does not end it. Version 2.1 knows no escape but that of ";",
// so a backslash that was encoded is one, unless it stands in front of a ";".
std::string quotedPrintableText(std::string_view value, std::string_view charset, bool version21);

// Percent escapes resolved.
std::string decodedPercent(std::string_view text);

// The bytes of base64, also where padding is missing or stands between pieces that were
// encoded one by one. Absent if the text holds a character that is no base64.
std::optional<std::string> decodedBase64(std::string_view text);

}  // namespace quillfold::vcard
