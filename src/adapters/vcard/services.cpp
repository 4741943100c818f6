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
std::string serviceNamed(const Name (&names)[N], std::string_view written) {
  for (const Name& each : names) {
    if (equalIgnoringCase(each.written, written)) return std::string(each.service);
  }
  return std::string(written);
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

std::optional<std::string> ifNotEmpty(std::string_view text) {
  return text.empty() ? std::nullopt : std::optional<std::string>(text);
}

std::string_view firstOf(const Attribute& attribute,
                         std::initializer_list<std::string_view> names) {
  for (const std::string_view name : names) {
    if (const std::string_view value = attribute.parameter(name); !value.empty()) return value;
  }
  return "";
}

}  // namespace

std::vector<std::string_view> messengerProperties() {
  std::vector<std::string_view> names;
  for (const Name& each : kMessengerProperties)
    names.push_back(each.written);
  return names;
}

CNInstantMessageAddress messengerOf(const Attribute& attribute) {
  const std::string_view address = attribute.text();
  for (const Name& each : kMessengerProperties) {
    if (each.written == attribute.property->name) {
      return {std::string(each.service), std::string(address)};
    }
  }
  const std::size_t scheme = schemeLength(address);
  std::string_view service = firstOf(attribute, {"X-SERVICE-TYPE", "SERVICE-TYPE"});
  if (service.empty()) service = address.substr(0, scheme);
  return {serviceNamed(kMessengers, service),
          scheme == 0 ? std::string(address) : decodedPercent(address.substr(scheme + 1))};
}

CNSocialProfile socialProfileOf(const Attribute& attribute) {
  constexpr std::string_view kNoAddress = "x-apple:";
  std::string_view service = firstOf(attribute, {"SERVICE-TYPE", "X-SERVICE-TYPE"});
  for (const std::string_view type : attribute.types) {
    if (service.empty() && !isPlaceOrPreference(type)) service = type;
  }
  std::string username(firstOf(attribute, {"X-USER", "USERNAME"}));
  if (username.empty() && startsWithIgnoringCase(attribute.text(), kNoAddress)) {
    username = decodedPercent(attribute.text().substr(kNoAddress.size()));
  }
  return {ifNotEmpty(serviceNamed(kSocialServices, service)), ifNotEmpty(username),
          ifNotEmpty(attribute.text())};
}

}  // namespace quillfold::vcard
