// What the tests of the contact model share.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "model/contact_mapper.h"
#include "tests/support/fake_platform.h"

namespace quillfold::testing {

// A device in English, east of Greenwich: a local midnight there falls on the day
// before in UTC.
class ModelTest : public ::testing::Test {
 protected:
  ModelTest();
  FakePlatform platform;
};

// The properties as a fetch with those keys gives them.
CNContact fetched(CNContactProperties properties,
                  const std::vector<CNKeyDescriptor>& keys = QFContactMapper::keysToFetch(true));

// A contact on the device with a value in every property.
CNContactProperties fullDeviceContact();

// A record with a value of its own in every field.
QFContactPtr everyField(const std::string& identifier = "id-1");

// A list of entries that are made of a value (or name) and a type.
template <typename Entry>
EntryList<Entry> entries(
    const std::vector<std::pair<OptionalString, OptionalString>>& valuesAndTypes) {
  EntryList<Entry> list;
  for (const auto& [value, type] : valuesAndTypes) {
    list.push_back(Entry::initWithContactId("id-1", value, type));
  }
  return list;
}

// JSON text as a value, and a value as compact JSON text in the order of the keys.
Value parsed(const std::string& json);
std::string compact(const Value& value);

}  // namespace quillfold::testing
