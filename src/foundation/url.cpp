#include "foundation/url.h"

#include "foundation/format.h"

namespace quillfold::url {

namespace {

constexpr std::string_view kUnreserved =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";

std::string escaped(std::string_view text, std::string_view alsoAllowed) {
  std::string out;
  for (const char c : text) {
    if (kUnreserved.find(c) != std::string_view::npos ||
        alsoAllowed.find(c) != std::string_view::npos) {
      out += c;
    } else {
      out += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
  }
  return out;
}

}  // namespace

std::string appendingPathComponent(std::string_view address, std::string_view path) {
  while (!address.empty() && address.back() == '/')
    address.remove_suffix(1);
  while (!path.empty() && path.front() == '/')
    path.remove_prefix(1);
  return std::string(address) + '/' + escaped(path, "/!$&'()*+,;=:@");
}

std::string appendingQuery(std::string_view address,
                           const std::map<std::string, std::string>& parameters) {
  std::string out(address);
  char separator = out.find('?') == std::string::npos ? '?' : '&';
  for (const auto& [name, value] : parameters) {
    out += separator + escaped(name, "") + '=' + escaped(value, "");
    separator = '&';
  }
  return out;
}

}  // namespace quillfold::url
