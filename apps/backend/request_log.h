// The log of requests.
#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "apps/backend/http/exchange.h"

namespace quillfold::backend {

// May be used from any thread.
class RequestLog {
 public:
  using Sink = std::function<void(const std::string& line)>;

  // The sink may be absent.
  explicit RequestLog(Sink sink) : sink_(std::move(sink)) {}

  // Keeps the entry and passes its line, stamped with the time, on to the sink.
  void add(const LoggedRequest& request, double now);
  // The last 1000 entries, the oldest first.
  std::vector<LoggedRequest> entries() const;

 private:
  const Sink sink_;
  mutable std::mutex mutex_;
  std::deque<LoggedRequest> entries_;
};

}  // namespace quillfold::backend
