#pragma once

#include <string>

#include "account/failure.h"
#include "foundation/format.h"

namespace quillfold::testing {

inline std::string told(const Failure& failure) {
  return fmt::format("{} {}: {}", failure.domain(), failure.code(), failure.what());
}

}  // namespace quillfold::testing
