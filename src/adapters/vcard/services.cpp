#include "adapters/vcard/services.h"

#include <algorithm>
#include <array>

#include "adapters/vcard/ascii.h"
#include "adapters/vcard/decoding.h"
#include "adapters/vcard/labels.h"

namespace quillfold::vcard {

namespace {

struct Name {
  std::string_view written;
  std::string_view service;
};

constexpr Name kMessengerProperties[] = {
    {"X-AIM", "AIM"},
    {"X-FACEBOOK", "Facebook"},
    {"X-GADUGADU", "GaduGadu"},
    {"X-GOOGLE-TALK", "GoogleTalk"},
    {"X-GTALK", "GoogleTalk"},
    {"X-GROUPWISE", "GroupWise"},
    {"X-ICQ", "ICQ"},
    {"X-JABBER", "Jabber"},
    {"X-MATRIX", "Matrix"},
    {"X-MSN", "MSN"},
    {"X-QQ", "QQ"},
    {"X-SKYPE", "Skype"},
    {"X-SKYPE-USERNAME", "Skype"},
    {"X-TELEGRAM", "Telegram"},
    {"X-YAHOO", "Yahoo"},
};

constexpr Name kMessengers[] = {
    {"aim", "AIM"},
    {"facebook", "Facebook"},
    {"gadugadu", "GaduGadu"},
    {"gg", "GaduGadu"},
    {"gtalk", "GoogleTalk"},
    {"googletalk", "GoogleTalk"},
    {"google talk", "GoogleTalk"},
    {"icq", "ICQ"},
    {"xmpp", "Jabber"},
    {"jabber", "Jabber"},
    {"msn", "MSN"},
    {"msnim", "MSN"},
    {"qq", "QQ"},
    {"skype", "Skype"},
    {"ymsgr", "Yahoo"},
    {"yahoo", "Yahoo"},
};

constexpr Name kSocialServices[] = {
    {"facebook", "Facebook"},         {"flickr", "Flickr"},   {"gamecenter", "GameCenter"},
    {"linkedin", "LinkedIn"},         {"myspace", "MySpace"}, {"sinaweibo", "SinaWeibo"},
    {"tencentweibo", "TencentWeibo"}, {"twitter", "Twitter"}, {"yelp", "Yelp"},
};

// A service that the platform has no name for keeps the one that it has.
template <std::size_t N>
std::string serviceNamed(const Name (&names)[N], const std::string& written) {
  for (const Name& each : names) {
    if (equalIgnoringCase(each.written, written)) return std::string(each.service);
  }
  return written;
}

// The length of the scheme at the start of an address, or 0.
std::size_t schemeLength(std::string_view address) {
  const std::size_t colon = address.find(':');
  if (colon == std::string_view::npos) return 0;
  const bool valid =
      std::all_of(address.begin(), address.begin() + static_cast<std::ptrdiff_t>(colon),
                  [](char c) { return isAlphanumeric(c) || c == '-' || c == '+'; });
  return valid ? colon : 0;
}

std::optional<std::string> ifNotEmpty(std::string text) {
  return text.empty() ? std::nullopt : std::optional(std::move(text));
}

std::string firstOf(const Attribute& attribute, std::initializer_list<std::string_view> names) {
  for (const std::string_view name : names) {
    if (std::string value = attribute.parameter(name); !value.empty()) return value;
  }
  return "";
}

}  // namespace

CNInstantMessageAddress messengerOf(const Attribute& impp) {
  const std::string& address = impp.text();
  const std::size_t scheme = schemeLength(address);
  std::string service = firstOf(impp, {"X-SERVICE-TYPE", "SERVICE-TYPE"});
  if (service.empty()) service = address.substr(0, scheme);
  if (scheme == 0) return {serviceNamed(kMessengers, service), address};
  std::string username = decodedPercent(std::string_view(address).substr(scheme + 1));
  return {serviceNamed(kMessengers, service), std::move(username)};
}

std::optional<std::string> messengerOfProperty(std::string_view name) {
  const auto* found = std::find_if(std::begin(kMessengerProperties), std::end(kMessengerProperties),
                                   [name](const Name& each) { return each.written == name; });
  if (found == std::end(kMessengerProperties)) return std::nullopt;
  return std::string(found->service);
}

CNSocialProfile socialProfileOf(const Attribute& attribute) {
  constexpr std::string_view kNoAddress = "x-apple:";
  std::string service = firstOf(attribute, {"SERVICE-TYPE", "X-SERVICE-TYPE"});
  for (const std::string& type : attribute.types) {
    if (service.empty() && !isPlaceOrPreference(type)) service = type;
  }
  std::string username = firstOf(attribute, {"X-USER", "USERNAME"});
  if (username.empty() && startsWithIgnoringCase(attribute.text(), kNoAddress)) {
    username = decodedPercent(std::string_view(attribute.text()).substr(kNoAddress.size()));
  }
  return {ifNotEmpty(serviceNamed(kSocialServices, service)), ifNotEmpty(std::move(username)),
          ifNotEmpty(attribute.text())};
}

}  // namespace quillfold::vcard
