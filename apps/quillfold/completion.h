// Completion scripts, made from the command line's own description.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace host {

// The script for "bash", "zsh" or "fish".
std::string completionScript(const CLI::App& app, const std::string& shell);

}  // namespace host
