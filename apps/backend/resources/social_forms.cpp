#include "apps/backend/resources/social_forms.h"

#include "apps/backend/identifiers.h"

namespace quillfold::backend {

using nlohmann::json;

json textMember(const json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && found->is_string() ? *found : json();
}

json fullName(const json& userInfo, const std::string& userId) {
  json name = textMember(userInfo, "fullName");
  return name.is_null() ? json(userId) : name;
}

json userMetadata(const User& user) {
  const auto found = user.userInfo.find("metadata");
  return found != user.userInfo.end() && found->is_object() ? *found : json::object();
}

json shortPersonForm(const User& user) {
  return {{"id", user.id},
          {"organization_id", user.organizationId},
          {"organization_user_id", user.id},
          {"email", textMember(user.userInfo, "email")},
          {"phone", textMember(user.userInfo, "phone")},
          {"full_name", fullName(user.userInfo, user.id)},
          {"avatar_url", textMember(user.userInfo, "avatarUrl")},
          {"is_active", true}};
}

json personForm(const User& user) {
  json form = shortPersonForm(user);
  form["created_at"] = isoTime(user.createdAt);
  form["updated_at"] = isoTime(user.updatedAt);
  form["contact_metadata"] = userMetadata(user);
  return form;
}

json eventForm(const Event& event) {
  json creator = {{"name", fullName(event.creatorInfo, event.userId)}};
  addMember(creator, "avatar_url", textMember(event.creatorInfo, "avatarUrl"));
  json form = {{"id", event.id},
               {"organization_id", event.organizationId},
               {"canonical_contact_id", event.userId},
               {"event_type", event.eventType},
               {"title", event.title},
               {"is_public", event.isPublic},
               {"user_id", event.userId},
               {"created_at", isoTime(event.createdAt)},
               {"updated_at", isoTime(event.updatedAt)},
               {"created_by", creator}};
  if (event.description) form["description"] = *event.description;
  if (event.location) form["location"] = *event.location;
  if (event.startTime) form["start_time"] = isoTime(*event.startTime);
  if (event.endTime) form["end_time"] = isoTime(*event.endTime);
  addMember(form, "metadata", event.metadata);
  return form;
}

void addMember(json& object, const char* key, json value) {
  if (!value.is_null()) object[key] = std::move(value);
}

}  // namespace quillfold::backend
