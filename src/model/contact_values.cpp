#include "model/contact_values.h"

namespace quillfold {

template <typename Entry>
std::shared_ptr<Entry> QFContactValue<Entry>::initWithContactId(std::string contactId,
                                                                OptionalString value,
                                                                OptionalString type,
                                                                OptionalString emoji) {
  return std::shared_ptr<Entry>(
      new Entry(std::move(contactId), std::move(value), std::move(type), std::move(emoji)));
}

template class QFContactValue<QFContactPhoneNumber>;
template class QFContactValue<QFContactEmailAddress>;
template class QFContactValue<QFContactURL>;

std::shared_ptr<QFContactAddress> QFContactAddress::initWithContactId(std::string contactId) {
  return std::shared_ptr<QFContactAddress>(new QFContactAddress(std::move(contactId)));
}

std::shared_ptr<QFContactDate> QFContactDate::initWithContactId(std::string contactId,
                                                                std::optional<NSDate> date,
                                                                OptionalString type) {
  auto entry = std::shared_ptr<QFContactDate>(new QFContactDate(std::move(contactId)));
  entry->setDate(date);
  entry->setType(std::move(type));
  return entry;
}

std::shared_ptr<QFContactSocialProfile> QFContactSocialProfile::initWithContactId(
    std::string contactId, OptionalString service) {
  auto entry =
      std::shared_ptr<QFContactSocialProfile>(new QFContactSocialProfile(std::move(contactId)));
  entry->setService(std::move(service));
  return entry;
}

std::shared_ptr<QFContactRelation> QFContactRelation::initWithContactId(std::string contactId,
                                                                        OptionalString name,
                                                                        OptionalString type) {
  auto entry = std::shared_ptr<QFContactRelation>(new QFContactRelation(std::move(contactId)));
  entry->setName(std::move(name));
  entry->setType(std::move(type));
  return entry;
}

std::shared_ptr<QFContactInstantMessage> QFContactInstantMessage::initWithContactId(
    std::string contactId, OptionalString service, OptionalString username) {
  auto entry =
      std::shared_ptr<QFContactInstantMessage>(new QFContactInstantMessage(std::move(contactId)));
  entry->setService(std::move(service));
  entry->setUsername(std::move(username));
  return entry;
}

}  // namespace quillfold
