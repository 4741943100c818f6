#include "apps/backend/http/json_body.h"

#include "apps/backend/http/errors.h"

namespace quillfold::backend {
namespace {

constexpr int kMaxDepth = 64;

[[noreturn]] void refuse(const std::string& message, const std::string& type) {
  throw InvalidRequest(nlohmann::json::array(
      {{{"loc", nlohmann::json::array({"body"})}, {"msg", message}, {"type", type}}}));
}

}  // namespace

nlohmann::json parseObject(const std::string& body) {
  const auto boundDepth = [](int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
    if (depth > kMaxDepth) refuse("The document is nested too deep", "value_error.jsondecode");
    return true;
  };
  nlohmann::json parsed;
  try {
    parsed = nlohmann::json::parse(body, boundDepth);
  } catch (const nlohmann::json::exception& error) {
    refuse(error.what(), "value_error.jsondecode");
  }
  if (!parsed.is_object()) refuse("value is not a valid dict", "type_error.dict");
  return parsed;
}

}  // namespace quillfold::backend
