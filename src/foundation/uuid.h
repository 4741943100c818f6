// Random identifiers.
#pragma once

#include <string>

namespace quillfold {

class NSUUID {
 public:
  // A new random UUID (version 4): 36 characters, upper case.
  static std::string UUIDString();
};

}  // namespace quillfold
