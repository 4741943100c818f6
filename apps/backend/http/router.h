// The table of endpoints.
#pragma once

#include <nlohmann/json.hpp>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "apps/backend/http/exchange.h"

namespace quillfold::backend {

// A request as its endpoint sees it.
class Request {
 public:
  Request(const HttpRequest& http, std::map<std::string, std::string> parameters,
          std::string userId)
      : http_(http), parameters_(std::move(parameters)), userId_(std::move(userId)) {}

  // The bearer's user; empty on a public route.
  const std::string& userId() const { return userId_; }
  // What stands in the place of {name} of the route's pattern.
  const std::string& parameter(const std::string& name) const { return parameters_.at(name); }
  // A value of the query, "" if absent.
  std::string query(const std::string& name) const;
  // The body as a JSON object. Throws HttpError 413 and 415, and InvalidRequest.
  nlohmann::json object() const;

 private:
  const HttpRequest& http_;
  const std::map<std::string, std::string> parameters_;
  const std::string userId_;
};

enum class Access { kPublic, kBearer };

class Router {
 public:
  using Handler = std::function<HttpAnswer(const Request&)>;
  // Returns the user of an "Authorization" header or throws HttpError 401.
  using Authenticator = std::function<std::string(const std::string& authorization)>;

  explicit Router(Authenticator authenticator) : authenticator_(std::move(authenticator)) {}

  // Adds an endpoint. A segment of the pattern of the form {name} takes any one
  // segment of a path. Not to be called once requests are answered.
  void add(const std::string& method, const std::string& pattern, Access access, Handler handler);

  // Answers a request. Every refusal is an answer; nothing is thrown.
  HttpAnswer answer(const HttpRequest& request) const;

 private:
  struct Route {
    std::string method;
    std::vector<std::string> segments;
    Access access;
    Handler handler;
  };

  HttpAnswer dispatch(const HttpRequest& request) const;

  const Authenticator authenticator_;
  std::vector<Route> routes_;
};

}  // namespace quillfold::backend
