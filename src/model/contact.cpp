#include "model/contact.h"

#include "platform/clock.h"

namespace quillfold {

QFContactPtr QFContact::initWithIdentifier(std::string identifier) {
  QFContactPtr contact(new QFContact);
  contact->identifier_ = std::move(identifier);
  contact->createdAt_ = currentTime();
  // With no name read yet this is always "#", and nothing computes it again:
  // every contact from the device carries that section.
  contact->contactSection_ = contact->contactSectionForName();
  contact->matchString_ = contact->generateMatchString();
  return contact;
}

QFContactPtr QFContact::copyWithZone(const void*) const {
  return QFContactPtr(new QFContact(*this));
}

void QFContact::updateDisplayInfo() {
  std::string name;
  if (isNonEmpty(givenName_)) name += *givenName_;
  if (isNonEmpty(familyName_)) {
    if (!name.empty()) name += ' ';
    name += *familyName_;
  }
  if (name.empty() && isNonEmpty(organizationName_)) name += *organizationName_;
  if (name.empty()) {
    // A first phone without a number keeps the e-mail addresses from being tried.
    if (!phoneNumbers_.empty()) {
      name += phoneNumbers_.front()->value().value_or("");
    } else if (!emailAddresses_.empty()) {
      name += emailAddresses_.front()->value().value_or("");
    }
  }
  if (name.empty()) name += identifier_;
  displayName_ = std::move(name);
}

void QFContact::markAsDirty() {
  dirtyTime_ = currentTime();
}

}  // namespace quillfold
