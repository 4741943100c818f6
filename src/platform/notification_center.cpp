#include "platform/notification_center.h"

#include <algorithm>

namespace quillfold {

void NSNotificationCenter::addObserver(const void* observer, std::string name,
                                       std::function<void()> handler) {
  const std::lock_guard lock(mutex_);
  registrations_.push_back({observer, std::move(name), std::move(handler)});
}

void NSNotificationCenter::removeObserver(const void* observer) {
  std::vector<Registration> removed;  // Handlers are released outside the lock.
  const std::lock_guard lock(mutex_);
  const auto kept = std::stable_partition(
      registrations_.begin(), registrations_.end(),
      [observer](const Registration& registration) { return registration.observer != observer; });
  removed.assign(std::make_move_iterator(kept), std::make_move_iterator(registrations_.end()));
  registrations_.erase(kept, registrations_.end());
}

void NSNotificationCenter::postNotificationName(const std::string& name) {
  std::vector<std::function<void()>> handlers;
  {
    const std::lock_guard lock(mutex_);
    for (const Registration& registration : registrations_) {
      if (registration.name == name) handlers.push_back(registration.handler);
    }
  }
  for (const auto& handler : handlers)
    handler();
}

}  // namespace quillfold
