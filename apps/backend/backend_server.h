// The development backend: a server of the whole HTTP interface that the
// library's client talks to, with real state.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/backend/http/exchange.h"
#include "apps/backend/misbehaviour.h"

namespace quillfold::backend {

struct BackendOptions {
  std::string host = "127.0.0.1";
  int port = 0;                       // 0: any free one.
  std::string database = ":memory:";  // Or a file, which is created if missing.
  std::vector<std::string> apiKeys;   // The valid keys; none: every key is valid.
  // The lifetime of a token, if it is to be shorter than what a client asks for.
  // With 0 a token has expired when it arrives.
  std::optional<std::int64_t> tokenSeconds;
  // Whether invented people appear around each user with the first upload.
  bool demo = false;
  // Seconds since 1970; absent: the system's clock. Called from any thread.
  std::function<double()> now;
  // Called with each line of the request log, one call at a time, from any
  // thread; may be absent.
  std::function<void(const std::string& line)> log;
};

// May be used from any thread.
class BackendServer {
 public:
  // Opens the database. Throws std::runtime_error if that fails.
  explicit BackendServer(BackendOptions options = {});
  // Stops.
  ~BackendServer();

  // Answers requests from now on. Throws std::runtime_error if the port is in
  // use or the host is no address of this machine. May be called once.
  void start();
  // Ends every connection at once and waits for the threads. May be called again.
  void stop();

  // The port that the server listens on; 0 before the start.
  int port() const;
  // The address without a slash at its end, for instance http://127.0.0.1:8080.
  std::string url() const;

  // Misbehave on a path such as "/health". Paths under /_dev never misbehave.
  void setMisbehaviour(const std::string& path, const Misbehaviour& misbehaviour);
  void clearMisbehaviours();

  // The stored contacts of a user, or of all users, as they came; ordered by
  // user and by the source's identifier.
  std::vector<nlohmann::json> contacts(const std::string& userId = "") const;
  std::size_t contactCount(const std::string& userId = "") const;

  // The last 1000 requests, the oldest first. A request is here before its
  // answer is sent.
  std::vector<LoggedRequest> requests() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace quillfold::backend
