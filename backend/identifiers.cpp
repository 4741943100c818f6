#include "backend/identifiers.h"

#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <ctime>
#include <stdexcept>
#include <system_error>

#include "platform/format.h"

namespace quillfold::backend {
namespace {

template <std::size_t size>
std::array<unsigned char, size> randomBytes() {
  std::array<unsigned char, size> bytes{};
  if (getentropy(bytes.data(), bytes.size()) != 0) {
    throw std::system_error(errno, std::generic_category(), "no random bytes");
  }
  return bytes;
}

std::string hex(const unsigned char* begin, const unsigned char* end) {
  std::string text;
  for (; begin != end; ++begin)
    text += fmt::format("{:02x}", *begin);
  return text;
}

std::string uuid(std::array<unsigned char, 16> bytes, unsigned version) {
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0fU) | (version << 4U));
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3fU) | 0x80U);
  std::string text = hex(bytes.data(), bytes.data() + bytes.size());
  for (const unsigned dash : {8U, 13U, 18U, 23U})
    text.insert(dash, "-");
  return text;
}

}  // namespace

std::string randomToken() {
  const auto bytes = randomBytes<32>();
  return hex(bytes.data(), bytes.data() + bytes.size());
}

std::string randomUuid() {
  return uuid(randomBytes<16>(), 4);
}

std::string nameBasedUuid(std::string_view name) {
  // The backend's own name space, a random UUID that never changes.
  std::string input = "\x3b\x0e\x6a\x51\x9d\x42\x4c\x7f\xa8\x16\x5e\x2f\xc4\x90\xd7\x1a";
  input += name;
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  if (EVP_Digest(input.data(), input.size(), digest.data(), nullptr, EVP_sha1(), nullptr) != 1) {
    throw std::runtime_error("no digest");
  }
  std::array<unsigned char, 16> bytes{};
  std::copy_n(digest.begin(), bytes.size(), bytes.begin());
  return uuid(bytes, 5);
}

std::string isoTime(double seconds) {
  const auto milliseconds = static_cast<std::int64_t>(std::floor(seconds * 1000 + 0.5));
  const auto whole = static_cast<std::time_t>(milliseconds / 1000);
  std::tm parts{};
  gmtime_r(&whole, &parts);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", parts.tm_year + 1900,
                     parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                     milliseconds % 1000);
}

}  // namespace quillfold::backend
