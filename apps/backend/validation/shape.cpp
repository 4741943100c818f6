#include "apps/backend/validation/shape.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "apps/backend/http/errors.h"
#include "apps/backend/identifiers.h"

namespace quillfold::backend {
namespace {

using nlohmann::json;

constexpr std::size_t kMaxDetails = 100;

constexpr std::array<std::string_view, 6> kSourceTypes = {"google", "outlook", "csv",
                                                          "api",    "device",  "other"};

struct Refusal {
  Kind kind;
  const char* message;
  const char* type;
};

// The first that the field allows names what was expected.
constexpr std::array<Refusal, 11> kRefusals = {{
    {kString, "str type expected", "type_error.str"},
    {kFilledString, "a string that is not empty expected", "value_error.any_str.min_length"},
    {kBoolean, "value could not be parsed to a boolean", "type_error.bool"},
    {kInteger, "value is not a valid integer", "type_error.integer"},
    {kZeroOrOne, "value is not the integer 0 or 1", "type_error.integer"},
    {kPositive, "a number above 0 expected", "value_error.number.not_gt"},
    {kObject, "value is not a valid dict", "type_error.dict"},
    {kStrings, "value is not a list of strings", "type_error.list"},
    {kObjects, "value is not a valid list", "type_error.list"},
    {kSourceType, "value is not a known source type", "type_error.enum"},
    {kTime, "invalid datetime format", "value_error.datetime"},
}};

bool isInt64(const json& value) {
  return value.is_number_integer() &&
         (!value.is_number_unsigned() ||
          value.get<std::uint64_t>() <=
              static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()));
}

bool isStrings(const json& value) {
  return value.is_array() &&
         std::all_of(value.begin(), value.end(), [](const json& e) { return e.is_string(); });
}

bool isSourceType(const json& value) {
  return value.is_string() && std::find(kSourceTypes.begin(), kSourceTypes.end(),
                                        value.get_ref<const std::string&>()) != kSourceTypes.end();
}

bool is(const json& value, Kind kind) {
  switch (kind) {
    case kString:
      return value.is_string();
    case kFilledString:
      return value.is_string() && !value.get_ref<const std::string&>().empty();
    case kBoolean:
      return value.is_boolean();
    case kInteger:
      return isInt64(value);
    case kZeroOrOne:
      return value.is_number_integer() && (value == 0 || value == 1);
    case kPositive:
      return value.is_number() && value.get<double>() > 0;
    case kObject:
      return value.is_object();
    case kStrings:
      return isStrings(value);
    case kObjects:
      return value.is_array();
    case kNull:
      return value.is_null();
    case kSourceType:
      return isSourceType(value);
    case kTime:
      return value.is_string() && parseIsoTime(value.get_ref<const std::string&>());
  }
  return false;
}

class Checker {
 public:
  void checkObject(const json& object, const Shape& shape) {
    for (const Field& field : shape.fields) {
      at(std::string(field.key), [&] { checkField(object, field); });
    }
    if (!shape.closed) return;
    for (const auto& [key, value] : object.items()) {
      const auto known = [&key = key](const Field& field) { return field.key == key; };
      if (std::none_of(shape.fields.begin(), shape.fields.end(), known)) {
        at(key, [&] { refuse("extra fields not permitted", "value_error.extra"); });
      }
    }
  }

  json details = json::array();

 private:
  template <typename Step>
  void at(json place, Step step) {
    location_.push_back(std::move(place));
    step();
    location_.erase(location_.size() - 1);
  }

  void refuse(const char* message, const char* type) {
    if (details.size() < kMaxDetails) {
      details.push_back({{"loc", location_}, {"msg", message}, {"type", type}});
    }
  }

  void checkField(const json& object, const Field& field) {
    const auto found = object.find(field.key);
    if (found == object.end()) {
      if (field.presence == Presence::kRequired) refuse("field required", "value_error.missing");
      return;
    }
    if (found->is_null() && (field.kinds & kNull) == 0) {
      refuse("none is not an allowed value", "type_error.none.not_allowed");
    } else if (!found->is_null() && checkKind(*found, field) && field.shapeOf != nullptr) {
      checkInside(*found, field);
    }
  }

  bool checkKind(const json& value, const Field& field) {
    const Refusal* expected = nullptr;
    for (const Refusal& refusal : kRefusals) {
      if ((field.kinds & refusal.kind) == 0) continue;
      if (is(value, refusal.kind)) return true;
      if (expected == nullptr) expected = &refusal;
    }
    if (expected != nullptr) refuse(expected->message, expected->type);
    return false;
  }

  void checkInside(const json& value, const Field& field) {
    if (value.is_object()) return checkObject(value, field.shapeOf(value));
    for (std::size_t i = 0; i < value.size(); ++i) {
      at(i, [&] {
        if (!value[i].is_object()) return refuse("value is not a valid dict", "type_error.dict");
        checkObject(value[i], field.shapeOf(value[i]));
      });
    }
  }

  json location_ = json::array({"body"});
};

}  // namespace

void requireShape(const json& body, const Shape& shape) {
  Checker checker;
  checker.checkObject(body, shape);
  if (!checker.details.empty()) throw InvalidRequest(checker.details);
}

}  // namespace quillfold::backend
