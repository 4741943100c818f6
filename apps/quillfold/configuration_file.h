// The file of lines such as user = "ann" that stands below the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <vector>

namespace host {

// Reads it for CLI11, which would put it above the environment; here it is the other way round.
// What is wrong with a line is a CLI::ConfigError that names it.
class ConfigurationFile : public CLI::ConfigTOML {
 public:
  // The options of `app` can be said in it; it has to outlive this.
  explicit ConfigurationFile(const CLI::App& app) : app_(app) {}

  std::vector<CLI::ConfigItem> from_config(std::istream& input) const override;
  // "line 3: " if the problem is that of an option which the file has said there, else empty.
  std::string placeOf(const std::string& problem) const;

 private:
  const CLI::App& app_;
  // Of what counts, by the options' names.
  mutable std::map<std::string, int> lines_;
};

}  // namespace host
