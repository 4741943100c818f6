#include "apps/support/manual.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <map>

namespace support {

namespace {

using Options = std::vector<const CLI::Option*>;
using Apps = std::vector<const CLI::App*>;

// --- The language of the pages -----------------------------------------------

std::string plain(const std::string& text) {
  std::string out;
  for (const char c : text)
    out += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
  return out;
}

std::string bold(const std::string& text) {
  return "\\fB" + plain(text) + "\\fR";
}

std::string italic(const std::string& text) {
  return "\\fI" + plain(text) + "\\fR";
}

// What begins with one of these would be a request.
std::string line(const std::string& content) {
  return (content.starts_with('.') || content.starts_with('\'') ? "\\&" : "") + content + '\n';
}

std::string entry(const std::string& tag, const std::string& text) {
  return ".TP\n" + line(tag) + line(plain(text));
}

std::string section(const std::string& title, const std::string& content) {
  return content.empty() ? "" : ".SH " + title + '\n' + content;
}

std::string section(const std::string& title, const std::vector<ManualEntry>& entries) {
  std::string out;
  for (const auto& [tag, text] : entries) {
    out += tag.empty() ? (out.empty() ? "" : ".PP\n") + line(plain(text)) : entry(bold(tag), text);
  }
  return section(title, out);
}

// --- What stands in them -----------------------------------------------------

// The help is an option of all commands.
Options optionsOf(const CLI::App& app) {
  return app.get_options([&app](const CLI::Option* option) {
    const bool inherited = app.get_parent() != nullptr && option == app.get_help_ptr();
    return option->nonpositional() && !option->get_group().empty() && !inherited;
  });
}

Apps commandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* below) { return !below->get_group().empty(); });
}

std::string withValue(const CLI::Option& option) {
  const std::string name = bold("--" + option.get_lnames().front());
  const bool flag = option.get_expected_max() == 0;
  return flag ? name : name + ' ' + italic(option.get_type_name());
}

std::string entryOf(const CLI::Option& option) {
  std::string names;
  for (const std::string& name : option.get_snames())
    names += bold('-' + name) + ", ";
  return entry(names + withValue(option), option.get_description());
}

std::string entriesOf(const Options& options) {
  std::string out;
  for (const CLI::Option* option : options)
    out += entryOf(*option);
  return out;
}

std::string usage(const std::string& words, const CLI::App& app) {
  std::string out = bold(words);
  if (!commandsOf(app).empty()) {
    if (app.get_parent() != nullptr) return out + ' ' + italic("COMMAND");
    return out + " [" + italic("OPTION") + "]... " + italic("COMMAND") + " [" + italic("OPTION") +
           "]... [" + italic("OPERAND") + ']';
  }
  for (const CLI::Option* option : optionsOf(app)) {
    out += " [" + withValue(*option) + ']' + (option->get_expected_max() > 1 ? "..." : "");
  }
  for (const CLI::Option* operand : app.get_options()) {
    if (!operand->get_positional()) continue;
    const std::string name = italic(operand->get_single_name());
    out += operand->get_required() ? ' ' + name : " [" + name + ']';
  }
  return out;
}

// The commands below the app, and into `options` those that they take, by their names.
std::string commands(const CLI::App& app, const std::string& words,
                     std::map<std::string, const CLI::Option*>& options) {
  std::string out;
  for (const CLI::App* command : commandsOf(app)) {
    const std::string name = words + command->get_name();
    out += entry(usage(name, *command), command->get_description());
    for (const CLI::Option* option : optionsOf(*command))
      options.emplace(option->get_single_name(), option);
    out += commands(*command, name + ' ', options);
  }
  return out;
}

std::vector<ManualEntry> environment(const CLI::App& app, const Manual& manual) {
  std::vector<ManualEntry> out;
  for (const CLI::Option* option : optionsOf(app)) {
    if (option->get_envname().empty()) continue;
    out.push_back({option->get_envname(), "The same as --" + option->get_lnames().front() + '.'});
  }
  out.insert(out.end(), manual.environment.begin(), manual.environment.end());
  return out;
}

std::string page(const CLI::App& app, const Manual& manual) {
  const std::string name = app.get_name();
  std::string title = name;
  for (char& c : title)
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  std::string about = app.get_description();
  if (about.ends_with('.')) about.pop_back();

  std::map<std::string, const CLI::Option*> byName;
  const std::string below = commands(app, "", byName);
  Options ofCommands;
  for (const auto& [_, option] : byName)
    ofCommands.push_back(option);

  return ".TH " + title + " 1 \"\" \"" + app.version() + "\"\n.nr HY 0\n" +
         section("NAME", line(plain(name) + " \\- " + plain(about))) +
         section("SYNOPSIS", ".ad l\n" + line(usage(name, app))) +
         section("DESCRIPTION", manual.description) +
         section("OPTIONS", entriesOf(optionsOf(app))) + section("COMMANDS", below) +
         section("\"OPTIONS OF COMMANDS\"", entriesOf(ofCommands)) +
         section("\"EXIT STATUS\"", manual.exitStatus) +
         section("ENVIRONMENT", environment(app, manual)) + section("FILES", manual.files) +
         section("EXAMPLES", manual.examples) +
         section("\"SEE ALSO\"", line(plain(manual.seeAlso)));
}

}  // namespace

void addManual(CLI::App& app, const Manual& manual) {
  app.add_flag_callback("--man",
                        [&app, &manual] { throw CLI::CallForVersion(page(app, manual), 0); })
      ->group("")
      ->configurable(false);
}

}  // namespace support
