#include "apps/backend/resources/page.h"

#include <algorithm>
#include <charconv>

#include "apps/backend/http/errors.h"

namespace quillfold::backend {
namespace {

using nlohmann::json;

constexpr std::int64_t kUsualLimit = 20;
constexpr std::int64_t kMaxLimit = 1000;

[[noreturn]] void refuse(const char* name, const char* message, const char* type) {
  throw InvalidRequest(
      json::array({{{"loc", json::array({"query", name})}, {"msg", message}, {"type", type}}}));
}

std::int64_t queryNumber(const Request& request, const char* name, std::int64_t usual) {
  const std::string text = request.query(name);
  if (text.empty()) return usual;
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) {
    refuse(name, "value is not a valid integer", "type_error.integer");
  }
  if (number < 0) {
    refuse(name, "ensure this value is greater than or equal to 0", "value_error.number.not_ge");
  }
  return number;
}

}  // namespace

PageRange pageRange(const Request& request) {
  return {queryNumber(request, "skip", 0), listLimit(request)};
}

std::int64_t listLimit(const Request& request) {
  return std::min(queryNumber(request, "limit", kUsualLimit), kMaxLimit);
}

HttpAnswer pageDocument(std::int64_t total, PageRange range, const json& items) {
  return document(
      200, {{"total", total}, {"skip", range.skip}, {"limit", range.limit}, {"data", items}});
}

}  // namespace quillfold::backend
