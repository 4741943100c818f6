// From the attributes of a card to a contact.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "adapters/vcard/attributes.h"
#include "platform/contacts.h"

namespace quillfold::vcard {

// The property of the name, in any case; null if a contact takes nothing from it.
const Property* findProperty(std::string_view name);

enum class CardKind { Contact, Group, Empty };

// Fills an empty contact from the properties of a card, all found by `findProperty`; its
// identifier stays empty if the card has no UID. It holds nothing of use unless the kind
// is Contact. What a property holds in no known form is left out and told to `onFault`.
CardKind readContact(std::span<const Attribute> attributes, CNContactProperties& contact,
                     const std::function<void(std::string reason)>& onFault);

}  // namespace quillfold::vcard
