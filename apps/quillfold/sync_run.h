// One sync and what came of it.
#pragma once

#include <cstdint>
#include <functional>

#include "apps/quillfold/host_session.h"

namespace host {

struct SyncOutcome {
  quillfold::ErrorPtr error;
  std::int64_t uploaded = 0;
  std::int64_t batches = 0;
};

// The number of contacts that have gone up since that time.
std::int64_t uploadedSince(HostSession& session, double secondsSince1970);

// Syncs, and waits. The library may be syncing already, by itself; then this waits
// for that sync and makes sure that nothing is left. `start` is the time from
// which uploads count.
SyncOutcome runSync(HostSession& session, double start, const std::function<void()>& step = {});

}  // namespace host
