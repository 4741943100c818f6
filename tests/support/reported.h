#pragma once

#include <string>

#include "foundation/error.h"

namespace quillfold {

// "DOMAIN CODE: TEXT", or "" for no error.
inline std::string reported(const ErrorPtr& error) {
  if (!error) return "";
  return error->domain() + ' ' + std::to_string(error->code()) + ": " +
         error->localizedDescription();
}

}  // namespace quillfold
