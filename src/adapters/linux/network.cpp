#include <ifaddrs.h>
#include <net/if.h>

#include <memory>

#include "adapters/asio/task_scheduler.h"

namespace quillfold {

bool systemNetworkIsUp() {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return false;
  const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(list, freeifaddrs);
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    const bool running = (entry->ifa_flags & IFF_UP) != 0 && (entry->ifa_flags & IFF_RUNNING) != 0;
    const bool hasAddress = entry->ifa_addr != nullptr && (entry->ifa_addr->sa_family == AF_INET ||
                                                           entry->ifa_addr->sa_family == AF_INET6);
    if (running && hasAddress && (entry->ifa_flags & IFF_LOOPBACK) == 0) return true;
  }
  return false;
}

}  // namespace quillfold
