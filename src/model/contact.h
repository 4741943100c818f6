// The library's own form of one entry of the address book.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/date.h"
#include "foundation/date_formatter.h"
#include "foundation/export.h"
#include "foundation/property.h"
#include "foundation/value.h"
#include "model/contact_values.h"

namespace quillfold {

template <typename T>
using EntryList = std::vector<std::shared_ptr<T>>;
using PhoneNumbers = EntryList<QFContactPhoneNumber>;
using EmailAddresses = EntryList<QFContactEmailAddress>;
using Addresses = EntryList<QFContactAddress>;
using Dates = EntryList<QFContactDate>;
using URLAddresses = EntryList<QFContactURL>;
using SocialProfiles = EntryList<QFContactSocialProfile>;
using Relations = EntryList<QFContactRelation>;
using InstantMessages = EntryList<QFContactInstantMessage>;

// One person or organization, in memory only, made anew at each read of the
// device. A string that the user left empty is "", one that was never read is
// absent. Times are seconds since 1970.
//
// The record has no locks: it belongs to the thread that works on it and is
// handed on as a whole. `displayName`, `matchString` and `contactSection` are
// snapshots; no setter computes them again.
class QUILLFOLD_EXPORT QFContact {
 public:
  // A record with empty lists, `contactSection` "#", `matchString` "" and
  // `createdAt` now; everything else is absent, false or 0.
  static std::shared_ptr<QFContact> initWithIdentifier(std::string identifier);

  // A new record with the value of every field. The lists are new, their entries
  // are shared with this record. The zone is ignored.
  std::shared_ptr<QFContact> copyWithZone(const void* zone = nullptr) const;

  // Sets `displayName`: the given and family name, else the organization, else
  // the first phone number, else the first e-mail address, else the identifier.
  void updateDisplayInfo();
  // Sets `dirtyTime` to the current time.
  void markAsDirty();

  QUILLFOLD_READONLY_PROPERTY(std::string, identifier);
  QUILLFOLD_PROPERTY(OptionalString, displayName, setDisplayName);
  // 0 for a person, 1 for an organization; passed on as the platform gives it.
  QUILLFOLD_PROPERTY(std::int64_t, contactType, setContactType);
  QUILLFOLD_PROPERTY(OptionalString, namePrefix, setNamePrefix);
  QUILLFOLD_PROPERTY(OptionalString, givenName, setGivenName);
  QUILLFOLD_PROPERTY(OptionalString, middleName, setMiddleName);
  QUILLFOLD_PROPERTY(OptionalString, familyName, setFamilyName);
  QUILLFOLD_PROPERTY(OptionalString, previousFamilyName, setPreviousFamilyName);
  QUILLFOLD_PROPERTY(OptionalString, nameSuffix, setNameSuffix);
  QUILLFOLD_PROPERTY(OptionalString, nickname, setNickname);
  QUILLFOLD_PROPERTY(OptionalString, organizationName, setOrganizationName);
  QUILLFOLD_PROPERTY(OptionalString, departmentName, setDepartmentName);
  QUILLFOLD_PROPERTY(OptionalString, jobTitle, setJobTitle);
  QUILLFOLD_PROPERTY(PhoneNumbers, phoneNumbers, setPhoneNumbers);
  QUILLFOLD_PROPERTY(EmailAddresses, emailAddresses, setEmailAddresses);
  QUILLFOLD_PROPERTY(Addresses, addresses, setAddresses);
  // Never filled from the device.
  QUILLFOLD_PROPERTY(Dates, dates, setDates);
  QUILLFOLD_PROPERTY(URLAddresses, urlAddresses, setUrlAddresses);
  QUILLFOLD_PROPERTY(SocialProfiles, socialProfiles, setSocialProfiles);
  QUILLFOLD_PROPERTY(Relations, relations, setRelations);
  QUILLFOLD_PROPERTY(InstantMessages, instantMessageAddresses, setInstantMessageAddresses);
  // Absent where the note was not fetched.
  QUILLFOLD_PROPERTY(OptionalString, notes, setNotes);
  // `bio`, `location`, `imageUrl`, `interests`, `avatars`, `isDeleted` and
  // `parentContactId` are for the host; the library never fills them.
  QUILLFOLD_PROPERTY(OptionalString, bio, setBio);
  QUILLFOLD_PROPERTY(OptionalString, location, setLocation);
  // The start of the day, in the device's calendar and time zone.
  QUILLFOLD_PROPERTY(std::optional<NSDate>, birthday, setBirthday);
  QUILLFOLD_PROPERTY(OptionalString, imageUrl, setImageUrl);
  QUILLFOLD_PROPERTY(std::optional<Data>, imageData, setImageData);
  QUILLFOLD_PROPERTY(std::optional<Data>, thumbnailImageData, setThumbnailImageData);
  QUILLFOLD_PROPERTY(bool, imageDataAvailable, setImageDataAvailable);
  QUILLFOLD_PROPERTY(std::vector<std::string>, interests, setInterests);
  QUILLFOLD_PROPERTY(std::vector<std::string>, avatars, setAvatars);
  QUILLFOLD_PROPERTY(bool, isDeleted, setIsDeleted);
  QUILLFOLD_PROPERTY(double, dirtyTime, setDirtyTime);
  QUILLFOLD_PROPERTY(double, lastSyncedAt, setLastSyncedAt);
  QUILLFOLD_PROPERTY(OptionalString, contactSection, setContactSection);
  QUILLFOLD_PROPERTY(OptionalString, matchString, setMatchString);
  QUILLFOLD_PROPERTY(OptionalString, parentContactId, setParentContactId);
  // Set by a sync on what it found changed, before anything has gone up: the source
  // that it is about to upload from. Not what is sent as "source_id".
  QUILLFOLD_PROPERTY(OptionalString, sourceId, setSourceId);
  // When this record was made, not when the person entered the address book.
  QUILLFOLD_PROPERTY(double, createdAt, setCreatedAt);

  // Match string, section and display line; all compute afresh from the fields.

  // Everything by which the contact can be found, on one line.
  std::string generateMatchString() const;
  // The decimal digits of a number, the first 20 of them; "" for absent.
  std::string normalizePhoneNumberForMatching(const OptionalString& number) const;
  // The address in lower case, reduced to a-z, 0-9, ".", "@", "_" and "-", the
  // first 50 of these; "" for absent.
  std::string normalizeEmailForMatching(const OptionalString& email) const;
  // The upper-case first letter of the family name, else the given name, else
  // the organization, else "#".
  std::string contactSectionForName() const;
  // The first thing that the contact has to say about itself: a phone number, an
  // e-mail address, a place and so on, or "No details available".
  std::string displayInfo() const;

  // Change hash and equality. The two answer different questions and each sees
  // changes that the other does not.

  // The SHA-256 of the stored `matchString`, as 64 lowercase hexadecimal digits.
  // Raises NSException for a record whose `matchString` is absent.
  std::string generateContactHash() const;
  // The digest of the text's UTF-8 bytes up to the first zero byte.
  std::string sha256(const std::string& text) const;

  // Whether all fields but `displayName`, `imageUrl`, `isDeleted` and the times
  // are the same. False for an absent argument.
  bool isEqualToContact(const std::shared_ptr<const QFContact>& other) const;
  // Absent and "" differ; case counts.
  bool stringOrNilEquals(const OptionalString& a, const OptionalString& b) const;

  // List comparisons that forgive order; phone numbers also formatting and
  // country codes. Raise NSException where a phone, e-mail or URL has no value.
  static bool arePhoneNumbersEqual(const PhoneNumbers& a, const PhoneNumbers& b);
  static bool areEmailAddressesEqual(const EmailAddresses& a, const EmailAddresses& b);
  static bool areURLAddressesEqual(const URLAddresses& a, const URLAddresses& b);
  static bool areAddressesEqual(const Addresses& a, const Addresses& b);
  static bool areSocialProfilesEqual(const SocialProfiles& a, const SocialProfiles& b);
  static bool areRelationsEqual(const Relations& a, const Relations& b);
  static bool areInstantMessagesEqual(const InstantMessages& a, const InstantMessages& b);
  static bool areDatesEqual(const Dates& a, const Dates& b);
  static bool areArraysEqual(const std::vector<std::string>& a, const std::vector<std::string>& b);
  // The decimal digits, the last 10 of them; absent for absent.
  static OptionalString normalizePhoneNumber(const OptionalString& number);
  static std::string stringFromAddress(const QFContactAddress& address);
  static std::string stringFromSocialProfile(const QFContactSocialProfile& profile);
  static std::string stringFromRelation(const QFContactRelation& relation);
  static std::string stringFromInstantMessage(const QFContactInstantMessage& message);
  static std::string stringFromDate(const QFContactDate& date, const NSDateFormatter& formatter);

  // The upload's form of the contact: a JSON object of 32 keys, of which
  // "organization_id" and "source_id" are left out where the argument is absent.
  Dictionary toServerContactWithOrganizationId(const OptionalString& organizationId,
                                               const OptionalString& sourceId) const;
  Array mapPhoneNumbersToServerFormat() const;
  Array mapEmailAddressesToServerFormat() const;
  Array mapURLsToServerFormat() const;
  Array mapAddressesToServerFormat() const;
  Array mapSocialProfilesToServerFormat() const;
  Array mapDatesToServerFormat() const;
  Array mapInstantMessageAddressesToServerFormat() const;
  Array mapRelationsToServerFormat() const;
  // A label in the server's vocabulary; "other" for an absent or empty one.
  std::string normalizeLabel(const OptionalString& label) const;

 private:
  QFContact() = default;
  QFContact(const QFContact&) = default;
  QFContact& operator=(const QFContact&) = delete;
};

using QFContactPtr = std::shared_ptr<QFContact>;
using QFContactList = std::vector<QFContactPtr>;

}  // namespace quillfold
