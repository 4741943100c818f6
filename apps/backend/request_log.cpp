#include "apps/backend/request_log.h"

#include <fmt/format.h>

#include "apps/backend/identifiers.h"

namespace quillfold::backend {
namespace {

constexpr std::size_t kKept = 1000;

std::string lineOf(const LoggedRequest& request, double now) {
  const std::string status = request.status == 0 ? "dropped" : std::to_string(request.status);
  return fmt::format("{} {} {} {} {} bytes {} ms", isoTime(now), request.method, request.path,
                     status, request.answerBytes, request.duration.count());
}

}  // namespace

void RequestLog::add(const LoggedRequest& request, double now) {
  const std::lock_guard lock(mutex_);
  if (entries_.size() == kKept) entries_.pop_front();
  entries_.push_back(request);
  if (sink_) sink_(lineOf(request, now));
}

std::vector<LoggedRequest> RequestLog::entries() const {
  const std::lock_guard lock(mutex_);
  return {entries_.begin(), entries_.end()};
}

}  // namespace quillfold::backend
