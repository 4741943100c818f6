// The records of the bookkeeping as plain values: from memory, and from their file
// through another library. Needs libplist at the link.
#pragma once

#include <gtest/gtest.h>

#include <map>

#include "foundation/value.h"
#include "sync/contact_sync_info.h"
#include "sync/sync_info_dictionary.h"
#include "tests/support/keyed_plist.h"

namespace quillfold::testing {

using Records = std::map<std::string, Dictionary>;

// Every field by its coded key; an absent text is null.
inline Records recordsOf(const SyncInfoDictionary::Entries& entries) {
  Records out;
  for (const auto& [key, r] : entries) {
    out[key] = {{"contactId", valueOrNull(r->contactId())},
                {"lastSyncedAt", r->lastSyncedAt()},
                {"contactHash", valueOrNull(r->contactHash())},
                {"isDeleted", r->isDeleted()},
                {"isDirty", r->isDirty()},
                {"matchString", valueOrNull(r->matchString())},
                {"displayNameForSort", valueOrNull(r->displayNameForSort())},
                {"primaryInfo", valueOrNull(r->primaryInfo())},
                {"thumbnailUri", valueOrNull(r->thumbnailUri())},
                {"sourceId", valueOrNull(r->sourceId())},
                {"syncInProgress", r->syncInProgress()},
                {"syncError", valueOrNull(r->syncError())}};
  }
  return out;
}

// The records of an archived dictionary; a failure of the test if their class or
// that of the dictionary is another.
inline Records readByLibplist(std::string_view bytes, const char* recordClass) {
  Records out;
  const Value archived = unarchivedRoot(bytes);
  EXPECT_TRUE(archived.isDictionary());
  if (!archived.isDictionary()) return out;
  const Dictionary& root = *archived.asDictionary();
  EXPECT_EQ(*find(root, "$class"), Value("NSMutableDictionary"));
  const Array& keys = *find(root, "NS.keys")->asArray();
  const Array& objects = *find(root, "NS.objects")->asArray();
  for (std::size_t i = 0; i < keys.size(); ++i) {
    Dictionary& record = out[*keys[i].asString()] = *objects.at(i).asDictionary();
    EXPECT_EQ(record["$class"], Value(recordClass));
    record.erase("$class");
  }
  return out;
}

}  // namespace quillfold::testing
