// People, follows and events as the client reads them. What is absent is left out,
// except where null is told: the client takes a null for a value.
#pragma once

#include "apps/backend/store/records.h"

namespace quillfold::backend {

// A text under a key of an object, or null; null also where there is no object.
nlohmann::json textMember(const nlohmann::json& object, const char* key);
// The user's own words about the user; an empty object if there are none.
nlohmann::json userMetadata(const User& user);
// The name by which a user info goes, or the user's identifier.
nlohmann::json fullName(const nlohmann::json& userInfo, const std::string& userId);

// A person as it stands in a row of a follow list. Email, phone and avatar may be
// null. Both identifiers are the user's, so that either can be followed.
nlohmann::json shortPersonForm(const User& user);
// The same with times and metadata, as it stands alone.
nlohmann::json personForm(const User& user);

nlohmann::json eventForm(const Event& event);

// Adds a member unless the value is null.
void addMember(nlohmann::json& object, const char* key, nlohmann::json value);

}  // namespace quillfold::backend
