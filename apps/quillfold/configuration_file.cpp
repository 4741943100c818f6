#include "apps/quillfold/configuration_file.h"

#include <cstdlib>

namespace host {

namespace {

std::string lineText(int number) {
  return "line " + std::to_string(number) + ": ";
}

// The text without a comment, which begins the text or has a blank in front.
std::string withoutComment(const std::string& text) {
  auto at = text.find('#');
  while (at != std::string::npos && at > 0 && text[at - 1] != ' ' && text[at - 1] != '\t')
    at = text.find('#', at + 1);
  return CLI::detail::trim_copy(text.substr(0, at));
}

// The text in quotes, or else all up to a comment.
std::string valueOf(const std::string& text) {
  if (text.empty() || (text.front() != '"' && text.front() != '\'')) {
    return withoutComment(text);
  }
  const auto end = text.find(text.front(), 1);
  if (end == std::string::npos) throw CLI::ConfigError("the quotes have no end");
  const std::string rest = CLI::detail::trim_copy(text.substr(end + 1));
  if (!rest.empty() && rest.front() != '#')
    throw CLI::ConfigError("there is more behind the value");
  return text.substr(1, end - 1);
}

// The name and the value; no name where there is nothing.
CLI::ConfigItem itemOf(const std::string& line) {
  CLI::ConfigItem item;
  if (line.empty() || line.front() == '#' || line.front() == ';') return item;
  const auto equals = line.find('=');
  // What stands in a line may be a token.
  if (equals == std::string::npos || equals == 0) throw CLI::ConfigError("is not NAME = VALUE");
  item.name = CLI::detail::trim_copy(line.substr(0, equals));
  item.inputs = {valueOf(CLI::detail::trim_copy(line.substr(equals + 1)))};
  return item;
}

bool isSaidAbove(const CLI::Option& option) {
  const char* variable = std::getenv(option.get_envname().c_str());
  return option.count() > 0 || (variable != nullptr && *variable != '\0');
}

}  // namespace

std::vector<CLI::ConfigItem> ConfigurationFile::from_config(std::istream& input) const {
  std::vector<CLI::ConfigItem> read;
  std::string line;
  for (int number = 1; std::getline(input, line); ++number) {
    try {
      CLI::ConfigItem item = itemOf(CLI::detail::trim_copy(line));
      if (item.name.empty() && item.inputs.empty()) continue;
      const std::string name = "--" + item.name;
      const CLI::Option* option = app_.get_option_no_throw(name);
      if (option == nullptr || !option->get_configurable()) {
        throw CLI::ConfigError(item.name + " is not known");
      }
      if (isSaidAbove(*option)) continue;
      if (!lines_.emplace(name, number).second) throw CLI::ConfigError(item.name + " comes twice");
      read.push_back(std::move(item));
    } catch (const CLI::ConfigError& problem) {
      throw CLI::ConfigError(lineText(number) + problem.what());
    }
  }
  return read;
}

std::string ConfigurationFile::placeOf(const std::string& problem) const {
  for (const auto& [name, number] : lines_) {
    const bool isIts =
        problem.starts_with(name + ":") || problem.find(name + " = ") != problem.npos;
    if (isIts) return lineText(number);
  }
  return {};
}

}  // namespace host
