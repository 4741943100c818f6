// From the attributes of a card to a contact.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "adapters/vcard/attributes.h"
#include "platform/contacts.h"

namespace quillfold::vcard {

// Whether a contact takes anything from properties of that name (upper case).
bool isMapped(std::string_view name);
// Whether they consist of fields with ";" between them.
bool isCompound(std::string_view name);

// The contact, with an empty identifier if the card has no UID. Absent for a card that
// stands for a group. What a property holds in no known form is left out and told to
// `onFault`.
std::optional<CNContactProperties> contactOf(
    const std::vector<Attribute>& attributes,
    const std::function<void(std::string reason)>& onFault);

}  // namespace quillfold::vcard
