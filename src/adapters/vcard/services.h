// Messengers and social services by the names that the platform gives them.
#pragma once

#include <string_view>
#include <vector>

#include "adapters/vcard/attributes.h"
#include "platform/contacts.h"

namespace quillfold::vcard {

// The older properties for one messenger each, such as X-AIM.
std::vector<std::string_view> messengerProperties();

// From one of them, or from IMPP: there the service is its X-SERVICE-TYPE or else the
// scheme.
CNInstantMessageAddress messengerOf(const Attribute& attribute);

// From X-SOCIALPROFILE, or SOCIALPROFILE of version 4.0.
CNSocialProfile socialProfileOf(const Attribute& attribute);

}  // namespace quillfold::vcard
