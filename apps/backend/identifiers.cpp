#include "apps/backend/identifiers.h"

#include <fmt/format.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <ctime>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <tuple>

namespace quillfold::backend {
namespace {

// 2024-03-05T07:08:09.123456789+02:00

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

// Takes the parts of a time off the front of a text.
class TimeScanner {
 public:
  explicit TimeScanner(std::string_view text) : rest_(text) {}

  bool atEnd() const { return rest_.empty(); }

  bool take(char expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool number(std::size_t digits, int& value) {
    if (digitsAhead() < digits) return false;
    std::from_chars(rest_.data(), rest_.data() + digits, value);
    rest_.remove_prefix(digits);
    return true;
  }

  // Nothing, or a point with up to nine digits.
  bool fraction(double& value) {
    if (!take('.')) return true;
    const std::size_t digits = digitsAhead();
    int part = 0;
    if (digits == 0 || digits > 9 || !number(digits, part)) return false;
    value = part / std::pow(10, digits);
    return true;
  }

  // Z, or an offset; in seconds east.
  bool zone(int& east) {
    if (take('Z')) return true;
    const int sign = take('-') ? -1 : 1;
    if (sign > 0 && !take('+')) return false;
    int hours = 0;
    int minutes = 0;
    if (!number(2, hours) || !take(':') || !number(2, minutes)) return false;
    east = sign * (hours * 60 + minutes) * 60;
    return hours <= 23 && minutes <= 59;
  }

 private:
  std::size_t digitsAhead() const {
    return std::min(rest_.find_first_not_of("0123456789"), rest_.size());
  }

  std::string_view rest_;
};

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
  TimeScanner scanner(text);
  std::tm asked{};
  const bool read =
      scanner.number(4, asked.tm_year) && scanner.take('-') && scanner.number(2, asked.tm_mon) &&
      scanner.take('-') && scanner.number(2, asked.tm_mday) && scanner.take('T') &&
      scanner.number(2, asked.tm_hour) && scanner.take(':') && scanner.number(2, asked.tm_min) &&
      scanner.take(':') && scanner.number(2, asked.tm_sec);
  double fraction = 0;
  int east = 0;
  if (!read || !scanner.fraction(fraction) || !scanner.zone(east) || !scanner.atEnd()) {
    return std::nullopt;
  }
  asked.tm_year -= 1900;
  asked.tm_mon -= 1;
  // What is out of its range comes out as another time.
  std::tm real = asked;
  const std::time_t whole = timegm(&real);
  const auto fields = [](const std::tm& t) {
    return std::tuple(t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
  };
  if (fields(real) != fields(asked)) return std::nullopt;
  return static_cast<double>(whole - east) + fraction;
}

}  // namespace quillfold::backend
