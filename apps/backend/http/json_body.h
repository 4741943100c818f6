// Reading JSON that a client sent.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace quillfold::backend {

// The object that a body holds. Throws InvalidRequest if it is no JSON, no UTF-8,
// nested deeper than 64 levels or no object.
nlohmann::json parseObject(const std::string& body);

}  // namespace quillfold::backend
