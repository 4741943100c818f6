// Addresses of requests.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace quillfold::url {

// The address with the path behind it, with one slash at the join. A "/" in the
// path stays; characters that a path can't hold are percent-escaped.
std::string appendingPathComponent(std::string_view address, std::string_view path);

// The address with further query items behind those that it has. Names and
// values are percent-escaped; without parameters the address stays as it is.
std::string appendingQuery(std::string_view address,
                           const std::map<std::string, std::string>& parameters);

}  // namespace quillfold::url
