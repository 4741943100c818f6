// The two text encodings of a binary property list, from and to UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace quillfold::plist {

bool isASCII(std::string_view bytes);

// Appends the text as UTF-16, big end first. Malformed UTF-8 becomes U+FFFD.
void appendUTF16(std::string& out, std::string_view utf8);

// The text as well-formed UTF-8: malformed sequences become U+FFFD.
std::string wellFormedUTF8(std::string_view utf8);
// The same from UTF-16, big end first, of an even number of bytes; half of a
// surrogate pair becomes U+FFFD.
std::string utf8FromUTF16(std::string_view units);

}  // namespace quillfold::plist
