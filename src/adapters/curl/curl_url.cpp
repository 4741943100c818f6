#include "adapters/curl/curl_url.h"

#include <curl/curl.h>

#include <memory>

#include "adapters/curl/curl_session.h"

namespace quillfold {

namespace {

struct FreeAddress {
  void operator()(CURLU* address) const { curl_url_cleanup(address); }
};
using Address = std::unique_ptr<CURLU, FreeAddress>;

// Null if the text is no address.
Address parse(const std::string& text) {
  Address address(curl_url());
  // The C interface would read no further than to a null character.
  if (!address || text.find('\0') != std::string::npos ||
      curl_url_set(address.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME)) {
    return nullptr;
  }
  return address;
}

std::optional<std::string> part(const Address& address, CURLUPart which) {
  char* text = nullptr;
  if (curl_url_get(address.get(), which, &text, 0) != CURLUE_OK) return std::nullopt;
  std::string copy(text);
  curl_free(text);
  return copy;
}

}  // namespace

AddressKind addressKind(const std::string& address) {
  const Address parsed = parse(address);
  if (!parsed) return AddressKind::Malformed;
  const auto scheme = part(parsed, CURLUPART_SCHEME);
  return scheme == "http" || scheme == "https" ? AddressKind::Web : AddressKind::OtherScheme;
}

bool isWebOrigin(const std::string& text) {
  const Address parsed = parse(text);
  if (!parsed || addressKind(text) != AddressKind::Web) return false;
  const auto path = part(parsed, CURLUPART_PATH);
  return (!path || *path == "/") && !part(parsed, CURLUPART_QUERY) &&
         !part(parsed, CURLUPART_FRAGMENT) && !part(parsed, CURLUPART_USER);
}

std::string atOrigin(const std::string& address, const std::string& origin) {
  const Address parsed = parse(address);
  const Address target = parse(origin);
  if (!parsed || !target) return address;
  for (const CURLUPart which : {CURLUPART_SCHEME, CURLUPART_HOST, CURLUPART_PORT}) {
    const auto text = part(target, which);
    curl_url_set(parsed.get(), which, text ? text->c_str() : nullptr, 0);
  }
  return part(parsed, CURLUPART_URL).value_or(address);
}

std::optional<std::string> withoutCredentials(const std::string& address) {
  const Address parsed = parse(address);
  if (!parsed) return std::nullopt;
  curl_url_set(parsed.get(), CURLUPART_USER, nullptr, 0);
  curl_url_set(parsed.get(), CURLUPART_PASSWORD, nullptr, 0);
  return part(parsed, CURLUPART_URL);
}

}  // namespace quillfold
