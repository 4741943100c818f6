// Tokens and the API key.
#include <algorithm>
#include <array>
#include <cmath>

#include "apps/backend/http/errors.h"
#include "apps/backend/identifiers.h"
#include "apps/backend/resources/resources.h"
#include "apps/backend/validation/shape.h"

namespace quillfold::backend {
namespace {

using nlohmann::json;

// Ten years; keeps dates within reason whatever a client asks for.
constexpr double kMaxTokenSeconds = 315360000;

constexpr std::array kTokenFields = {
    Field{"user_id", kFilledString},
    Field{"device_info", kObject},
    Field{"expiry_seconds", kPositive},
    Field{"user_info", kObject, kOptional},
};
constexpr Shape kTokenRequest{kTokenFields};

constexpr std::array kKeyUserFields = {
    Field{"userId", kFilledString},
    Field{"email", kString, kOptional},
    Field{"phone", kString, kOptional},
};
constexpr Shape kKeyUser{kKeyUserFields};

constexpr std::array kKeyDeviceFields = {
    Field{"device_id", kFilledString},
    Field{"device_model", kString, kOptional},
    Field{"os_version", kString, kOptional},
    Field{"platform", kString},
};
constexpr Shape kKeyDevice{kKeyDeviceFields};

constexpr std::array kKeyFields = {
    Field{"api_key", kFilledString},
    Field{"user_info", kObject, Presence::kRequired,
          [](const json&) -> const Shape& { return kKeyUser; }},
    Field{"device_info", kObject, Presence::kRequired,
          [](const json&) -> const Shape& { return kKeyDevice; }},
};
constexpr Shape kKeyRequest{kKeyFields};

[[noreturn]] void refuse(const std::string& message) {
  throw HttpError(401, message, {{"WWW-Authenticate", "Bearer"}});
}

HttpAnswer generateToken(Context& context, const Request& request) {
  const json body = request.object();
  requireShape(body, kTokenRequest);
  const double now = context.now();
  double lifetime = std::min(body.at("expiry_seconds").get<double>(), kMaxTokenSeconds);
  if (context.tokenSeconds)
    lifetime = std::min(lifetime, static_cast<double>(*context.tokenSeconds));

  Token token;
  token.token = randomToken();
  token.userId = body.at("user_id").get<std::string>();
  token.expiresAt = static_cast<std::int64_t>(std::floor(now + lifetime));
  User user{token.userId, context.defaultOrganization(), nullptr, body.at("device_info"), now, now};
  if (body.contains("user_info")) user.userInfo = body.at("user_info");
  context.storage.addToken(token, user);
  return success({{"token", token.token}, {"expires_at", token.expiresAt}});
}

HttpAnswer validateKey(Context& context, const Request& request) {
  const json body = request.object();
  requireShape(body, kKeyRequest);
  const auto key = body.at("api_key").get<std::string>();
  const auto& keys = context.apiKeys;
  if (!keys.empty() && std::find(keys.begin(), keys.end(), key) == keys.end()) {
    // The client takes any answer with "valid" in it for a yes.
    return success({{"message", "Unknown API key"}});
  }
  const std::string organization = Context::organizationOfKey(key);
  context.storage.setOrganization(request.userId(), organization, context.now());
  return success({{"valid", true}, {"organization_id", organization}});
}

}  // namespace

std::string Context::organizationOfKey(const std::string& key) {
  return nameBasedUuid("organization " + key);
}

std::string Context::defaultOrganization() const {
  return organizationOfKey(apiKeys.empty() ? std::string() : apiKeys.front());
}

std::string authenticate(Context& context, const std::string& authorization) {
  constexpr std::string_view kScheme = "Bearer ";
  if (!authorization.starts_with(kScheme)) refuse("Not authenticated");
  const auto token = context.storage.token(authorization.substr(kScheme.size()));
  if (!token) refuse("Invalid token");
  if (context.now() >= static_cast<double>(token->expiresAt)) refuse("Token has expired");
  return token->userId;
}

void addSession(Router& router, Context& context) {
  router.add("POST", "/api/v1/client/generate-token", Access::kPublic,
             [&context](const Request& request) { return generateToken(context, request); });
  router.add("POST", "/api/v1/client/validate-key", Access::kBearer,
             [&context](const Request& request) { return validateKey(context, request); });
}

}  // namespace quillfold::backend
