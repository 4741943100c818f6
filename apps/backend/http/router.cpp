#include "apps/backend/http/router.h"

#include <optional>

#include "apps/backend/http/errors.h"
#include "apps/backend/http/json_body.h"

namespace quillfold::backend {
namespace {

using Parameters = std::map<std::string, std::string>;

std::vector<std::string> segmentsOf(const std::string& path) {
  std::vector<std::string> segments(1);
  for (const char c : path) {
    if (c == '/') {
      segments.emplace_back();
    } else {
      segments.back() += c;
    }
  }
  return segments;
}

std::optional<Parameters> match(const std::vector<std::string>& pattern,
                                const std::vector<std::string>& path) {
  if (pattern.size() != path.size()) return std::nullopt;
  Parameters parameters;
  for (std::size_t i = 0; i < path.size(); ++i) {
    const std::string& part = pattern[i];
    if (part.starts_with('{') && !path[i].empty()) {
      parameters.emplace(part.substr(1, part.size() - 2), path[i]);
    } else if (part != path[i]) {
      return std::nullopt;
    }
  }
  return parameters;
}

}  // namespace

std::string Request::query(const std::string& name) const {
  const auto found = http_.query.find(name);
  return found == http_.query.end() ? std::string() : found->second;
}

nlohmann::json Request::object() const {
  if (http_.tooLarge) throw HttpError(413, "Request body too large");
  if (!http_.declaresJson) throw HttpError(415, "Content-Type must be application/json");
  return parseObject(http_.body);
}

void Router::add(const std::string& method, const std::string& pattern, Access access,
                 Handler handler) {
  routes_.push_back({method, segmentsOf(pattern), access, std::move(handler)});
}

HttpAnswer Router::answer(const HttpRequest& request) const {
  try {
    return dispatch(request);
  } catch (const HttpError& error) {
    return error.answer();
  } catch (const std::exception& error) {
    return HttpError(500, std::string("Internal error: ") + error.what()).answer();
  }
}

HttpAnswer Router::dispatch(const HttpRequest& request) const {
  const auto path = segmentsOf(request.path);
  std::string allowed;
  for (const Route& route : routes_) {
    auto parameters = match(route.segments, path);
    if (!parameters) continue;
    if (route.method != request.method) {
      allowed += (allowed.empty() ? "" : ", ") + route.method;
      continue;
    }
    std::string userId;
    if (route.access == Access::kBearer) userId = authenticator_(request.authorization);
    return route.handler(Request(request, std::move(*parameters), std::move(userId)));
  }
  if (!allowed.empty()) throw HttpError(405, "Method not allowed", {{"Allow", allowed}});
  throw HttpError(404, "Not found");
}

}  // namespace quillfold::backend
