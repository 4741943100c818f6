// The command line, with what the environment and the configuration file add to it.
#pragma once

#include <variant>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/options.h"

namespace host {

struct Invocation {
  const Command* command = nullptr;
  Options options;
};

// What to do, or the exit status where nothing is left to do: help, the version or a
// completion script has been printed, or what is wrong, on standard error.
std::variant<Invocation, int> parseCommandLine(int argc, char** argv);

}  // namespace host
