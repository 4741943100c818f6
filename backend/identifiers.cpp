#include "backend/identifiers.h"

#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <ctime>
#include <regex>
#include <stdexcept>
#include <system_error>
#include <tuple>

#include "platform/format.h"

namespace quillfold::backend {
namespace {

// 2024-03-05T07:08:09.123456789+02:00
constexpr std::size_t kLongestIsoTime = 35;

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
  // Rounded down, also before 1970.
  const std::int64_t fraction = ((milliseconds % 1000) + 1000) % 1000;
  const auto whole = static_cast<std::time_t>((milliseconds - fraction) / 1000);
  std::tm parts{};
  gmtime_r(&whole, &parts);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", parts.tm_year + 1900,
                     parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                     fraction);
}

std::optional<double> parseIsoTime(const std::string& text) {
  static const std::regex kForm(
      R"((\d{4})-(\d\d)-(\d\d)T(\d\d):(\d\d):(\d\d)(\.\d{1,9})?(?:Z|([+-])(\d\d):(\d\d)))");
  std::smatch part;
  if (text.size() > kLongestIsoTime || !std::regex_match(text, part, kForm)) return std::nullopt;
  const auto number = [&part](std::size_t i) { return part[i].matched ? std::stoi(part[i]) : 0; };
  std::tm asked{};
  asked.tm_year = number(1) - 1900;
  asked.tm_mon = number(2) - 1;
  asked.tm_mday = number(3);
  asked.tm_hour = number(4);
  asked.tm_min = number(5);
  asked.tm_sec = number(6);
  // What is out of its range comes out as another time.
  std::tm real = asked;
  const std::time_t whole = timegm(&real);
  const auto fields = [](const std::tm& t) {
    return std::tuple(t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
  };
  const int hours = number(9);
  const int minutes = number(10);
  if (fields(real) != fields(asked) || hours > 23 || minutes > 59) return std::nullopt;
  const int east = (hours * 60 + minutes) * (part[8] == "-" ? -60 : 60);
  const double fraction = part[7].matched ? std::stod("0" + part[7].str()) : 0.0;
  return static_cast<double>(whole - east) + fraction;
}

}  // namespace quillfold::backend
