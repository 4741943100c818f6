// Where the platform's address book meets the library's record.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/export.h"
#include "model/contact.h"
#include "platform/contacts.h"

namespace quillfold {

// What a fetch has to load; not what a search looks at.
enum QFContactFieldType : std::int64_t {
  QFContactFieldTypeAll = 0,
  QFContactFieldTypePhone = 1,
  QFContactFieldTypeEmail = 2,
  QFContactFieldTypeNotes = 3,
};

class QUILLFOLD_EXPORT QFContactMapper {
 public:
  // A record of the fetched contact. Lists, birthday, note and images stay at
  // their defaults where their key was not fetched. Raises NSException
  // "CNPropertyNotFetchedException" for a contact that was fetched without its
  // names or its type.
  static QFContactPtr contactFromCNContact(const CNContact& contact);

  // A new contact for the address book with the names, note, image, phone
  // numbers, e-mail addresses, addresses and URLs of the record. Nothing else
  // comes across, and labels become labels of the user's own: there and back is
  // no identity.
  static CNMutableContact cnContactFromContact(const QFContact& contact);

  // All keys that a full read needs, with the note only if it is asked for.
  static std::vector<CNKeyDescriptor> keysToFetch(bool includeNote);
  // The names, the type and the images, with the keys of the given field types
  // (numbers of QFContactFieldType; others are skipped); type 0 gives the full
  // list.
  static std::vector<CNKeyDescriptor> keysToFetchForFieldTypes(
      const std::vector<std::int64_t>& fieldTypes);
};

}  // namespace quillfold
