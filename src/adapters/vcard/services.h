// Messengers and social services by the names that the platform gives them.
#pragma once

#include <optional>

#include "adapters/vcard/attributes.h"
#include "platform/contacts.h"

namespace quillfold::vcard {

// From IMPP: the service is its X-SERVICE-TYPE or else the scheme.
CNInstantMessageAddress messengerOf(const Attribute& impp);

// The service of an older property such as X-AIM; absent if it is none.
std::optional<std::string> messengerOfProperty(std::string_view name);

// From X-SOCIALPROFILE, or SOCIALPROFILE of version 4.0.
CNSocialProfile socialProfileOf(const Attribute& attribute);

}  // namespace quillfold::vcard
