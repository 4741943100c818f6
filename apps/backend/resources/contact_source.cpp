#include <array>

#include "apps/backend/http/errors.h"
#include "apps/backend/identifiers.h"
#include "apps/backend/resources/resources.h"
#include "apps/backend/validation/shape.h"

namespace quillfold::backend {
namespace {

using nlohmann::json;

constexpr std::array kDeviceFields = {
    Field{"device_id", kFilledString},
    Field{"device_model", kString},
    Field{"os_version", kString},
    Field{"platform", kString},
};
constexpr Shape kDevice{kDeviceFields};

constexpr std::array kSettingsFields = {
    Field{"device_info", kObject, Presence::kRequired,
          [](const json&) -> const Shape& { return kDevice; }},
    Field{"contact_authorization_status", kFilledString},
};
constexpr Shape kSettings{kSettingsFields};

constexpr std::array kSourceFields = {
    Field{"name", kString},
    Field{"source_type", kSourceType},
    Field{"identifier", kFilledString},
    Field{"is_active", kBoolean},
    Field{"organization_id", kFilledString},
    Field{"settings", kObject, Presence::kRequired,
          [](const json&) -> const Shape& { return kSettings; }},
};
constexpr Shape kSourceData{kSourceFields};

constexpr std::array kRequestFields = {
    Field{"source_data", kObject, Presence::kRequired,
          [](const json&) -> const Shape& { return kSourceData; }},
    Field{"organization_user_id", kFilledString},
};
constexpr Shape kRequest{kRequestFields};

ContactSource sourceFrom(const json& body, double now) {
  const json& data = body.at("source_data");
  ContactSource source;
  source.id = randomUuid();
  source.organizationId = data.at("organization_id").get<std::string>();
  source.canonicalContactId = body.at("organization_user_id").get<std::string>();
  source.identifier = data.at("identifier").get<std::string>();
  source.name = data.at("name").get<std::string>();
  source.sourceType = data.at("source_type").get<std::string>();
  source.isActive = data.at("is_active").get<bool>();
  source.settings = data.at("settings");
  source.createdAt = source.updatedAt = now;
  return source;
}

json wireForm(const ContactSource& source) {
  return {{"id", source.id},
          {"name", source.name},
          {"source_type", source.sourceType},
          {"organization_id", source.organizationId},
          {"canonical_contact_id", source.canonicalContactId},
          {"identifier", *source.identifier},
          {"is_active", source.isActive},
          {"settings", source.settings},
          {"source_metadata", json::object()},
          {"last_sync_at", nullptr},
          {"created_at", isoTime(source.createdAt)},
          {"updated_at", isoTime(source.updatedAt)}};
}

HttpAnswer createSource(Context& context, const Request& request) {
  const json body = request.object();
  requireShape(body, kRequest);
  const ContactSource source = sourceFrom(body, context.now());
  try {
    context.storage.addSource(source);
  } catch (const UniqueViolation&) {
    // The client tells this failure by its status and by these very words.
    throw HttpError(500,
                    "duplicate key value violates unique constraint "
                    "\"contact_sources_organization_id_canonical_contact_id_source_key\"");
  }
  return success(wireForm(source));
}

}  // namespace

void addContactSource(Router& router, Context& context) {
  router.add("POST", "/api/v1/client/contact-source", Access::kBearer,
             [&context](const Request& request) { return createSource(context, request); });
}

}  // namespace quillfold::backend
