// The labelled entries of a contact.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/date.h"
#include "foundation/export.h"
#include "foundation/optional_string.h"
#include "foundation/property.h"

namespace quillfold {

// What every entry has: the identifier of the contact that it was made for,
// which is kept and never consulted.
class QFContactEntry {
 public:
  const std::string& contactId() const { return contactId_; }

 protected:
  explicit QFContactEntry(std::string contactId) : contactId_(std::move(contactId)) {}

 private:
  std::string contactId_;
};

// The entries below are mutable and without locks; copies of a contact share
// them. `type` is the label as the device shows it, in the device's language, or
// whatever a caller stored. `emoji` is a decoration that the library never sets.
// Every field is absent until somebody sets it.

// What phone numbers, e-mail addresses and URLs have in common.
class QFContactValueEntry : public QFContactEntry {
 public:
  QUILLFOLD_PROPERTY(OptionalString, value, setValue);
  QUILLFOLD_PROPERTY(OptionalString, type, setType);
  QUILLFOLD_PROPERTY(OptionalString, emoji, setEmoji);

 protected:
  QFContactValueEntry(std::string contactId, OptionalString value, OptionalString type,
                      OptionalString emoji)
      : QFContactEntry(std::move(contactId)),
        value_(std::move(value)),
        type_(std::move(type)),
        emoji_(std::move(emoji)) {}
};

// The three differ in nothing but their class.
template <typename Entry>
class QFContactValue : public QFContactValueEntry {
 public:
  static std::shared_ptr<Entry> initWithContactId(std::string contactId, OptionalString value,
                                                  OptionalString type = {},
                                                  OptionalString emoji = {});

 protected:
  using QFContactValueEntry::QFContactValueEntry;
};

// The number as the user typed it.
class QFContactPhoneNumber : public QFContactValue<QFContactPhoneNumber> {
  friend class QFContactValue<QFContactPhoneNumber>;
  using QFContactValue::QFContactValue;
};

class QFContactEmailAddress : public QFContactValue<QFContactEmailAddress> {
  friend class QFContactValue<QFContactEmailAddress>;
  using QFContactValue::QFContactValue;
};

class QFContactURL : public QFContactValue<QFContactURL> {
  friend class QFContactValue<QFContactURL>;
  using QFContactValue::QFContactValue;
};

class QUILLFOLD_EXPORT QFContactAddress : public QFContactEntry {
 public:
  static std::shared_ptr<QFContactAddress> initWithContactId(std::string contactId);

  QUILLFOLD_PROPERTY(OptionalString, street, setStreet);
  QUILLFOLD_PROPERTY(OptionalString, city, setCity);
  QUILLFOLD_PROPERTY(OptionalString, state, setState);
  QUILLFOLD_PROPERTY(OptionalString, postalCode, setPostalCode);
  QUILLFOLD_PROPERTY(OptionalString, country, setCountry);
  QUILLFOLD_PROPERTY(OptionalString, type, setType);
  QUILLFOLD_PROPERTY(OptionalString, emoji, setEmoji);

 private:
  using QFContactEntry::QFContactEntry;
};

// A date other than the birthday. The library never makes one from the device.
class QUILLFOLD_EXPORT QFContactDate : public QFContactEntry {
 public:
  static std::shared_ptr<QFContactDate> initWithContactId(std::string contactId,
                                                          std::optional<NSDate> date,
                                                          OptionalString type = {});

  QUILLFOLD_PROPERTY(std::optional<NSDate>, date, setDate);
  QUILLFOLD_PROPERTY(OptionalString, type, setType);

 private:
  using QFContactEntry::QFContactEntry;
};

class QUILLFOLD_EXPORT QFContactSocialProfile : public QFContactEntry {
 public:
  static std::shared_ptr<QFContactSocialProfile> initWithContactId(std::string contactId,
                                                                   OptionalString service);

  QUILLFOLD_PROPERTY(OptionalString, service, setService);
  QUILLFOLD_PROPERTY(OptionalString, username, setUsername);
  QUILLFOLD_PROPERTY(OptionalString, urlString, setUrlString);

 private:
  using QFContactEntry::QFContactEntry;
};

class QUILLFOLD_EXPORT QFContactRelation : public QFContactEntry {
 public:
  static std::shared_ptr<QFContactRelation> initWithContactId(std::string contactId,
                                                              OptionalString name,
                                                              OptionalString type = {});

  QUILLFOLD_PROPERTY(OptionalString, name, setName);
  QUILLFOLD_PROPERTY(OptionalString, type, setType);

 private:
  using QFContactEntry::QFContactEntry;
};

class QUILLFOLD_EXPORT QFContactInstantMessage : public QFContactEntry {
 public:
  static std::shared_ptr<QFContactInstantMessage> initWithContactId(std::string contactId,
                                                                    OptionalString service,
                                                                    OptionalString username);

  QUILLFOLD_PROPERTY(OptionalString, service, setService);
  QUILLFOLD_PROPERTY(OptionalString, username, setUsername);
  QUILLFOLD_PROPERTY(OptionalString, type, setType);

 private:
  using QFContactEntry::QFContactEntry;
};

}  // namespace quillfold
