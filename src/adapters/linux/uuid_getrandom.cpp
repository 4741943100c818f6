#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include "foundation/uuid.h"

namespace quillfold {

std::string NSUUID::UUIDString() {
  std::array<std::uint8_t, 16> bytes{};
  // So few bytes come in one piece; only the wait for the first entropy after
  // the start of the machine can be interrupted.
  while (getrandom(bytes.data(), bytes.size(), 0) < 0) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "getrandom");
  }
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // Version 4.
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // The common variant.
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0x0F];
  }
  return text;
}

}  // namespace quillfold
