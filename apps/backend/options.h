// The command line.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "apps/backend/backend_server.h"

namespace quillfold::backend {

// What the user typed makes no sense; the text says why.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct CommandLine {
  BackendOptions options;
  std::vector<PathMisbehaviour> misbehaviours;
  bool quiet = false;
  // Help, the version or the manual page, to be printed in place of all else.
  std::string answer = {};
};

// Reads the arguments, the program's name not among them. Throws UsageError.
CommandLine parseCommandLine(std::vector<std::string> arguments);

}  // namespace quillfold::backend
