#include "platform/user_defaults.h"

namespace quillfold {

std::optional<std::string> NSUserDefaults::stringForKey(std::string_view key) {
  const std::optional<Value> value = objectForKey(key);
  if (!value || (!value->isString() && !value->isNumber())) return std::nullopt;
  return value->description();
}

std::optional<Data> NSUserDefaults::dataForKey(std::string_view key) {
  const std::optional<Value> value = objectForKey(key);
  if (!value || !value->isData()) return std::nullopt;
  return *value->asData();
}

bool NSUserDefaults::boolForKey(std::string_view key) {
  const std::optional<Value> value = objectForKey(key);
  return value && value->boolValue();
}

}  // namespace quillfold
