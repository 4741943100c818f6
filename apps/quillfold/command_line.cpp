#include "apps/quillfold/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>
#include <map>

#include "apps/quillfold/completion.h"
#include "apps/quillfold/configuration_file.h"
#include "apps/quillfold/manual_texts.h"
#include "apps/quillfold/output.h"
#include "apps/support/option_checks.h"

namespace host {

using namespace quillfold;
using support::isNumber;
using support::takes;
using support::takesNumber;

namespace {

// --- What an option takes ----------------------------------------------------

bool isAuthority(const std::string& text) {
  const auto colon = text.rfind(':');
  return colon != std::string::npos && colon > 0 && isNumber(text.substr(colon + 1), 1, 65535);
}

bool isOrigin(const std::string& text) {
  const auto start = text.starts_with("https://") ? 8U : text.starts_with("http://") ? 7U : 0U;
  return start > 0 && text.size() > start && text.find('/', start) >= text.size() - 1;
}

bool isEnvironment(const std::string& text) {
  return text == "dev" || text == "staging" || text == "prod";
}

bool isTime(const std::string& text) {
  return NSDate::dateFromISOString(text).has_value();
}

const std::map<std::string, std::uint64_t> kFields = {
    {"name", QFSearchFieldTypeName},
    {"phone", QFSearchFieldTypePhone},
    {"email", QFSearchFieldTypeEmail},
    {"address", QFSearchFieldTypeAddress},
    {"organization", QFSearchFieldTypeOrganization},
    {"other", QFSearchFieldTypeOther},
    {"all", QFSearchFieldTypeAll},
};

// A name, which becomes its number, or the number.
std::string fieldNumber(std::string& text) {
  for (const auto& [name, number] : kFields) {
    if (text != name && text != std::to_string(number)) continue;
    text = std::to_string(number);
    return {};
  }
  return '"' + text + "\" is not a field: name, phone, email, address, organization, other or all";
}

// --- The environment -----------------------------------------------------------

// Empty where it is not set.
std::string variable(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  return value != nullptr ? value : "";
}

std::string variableOf(const std::string& option) {
  std::string name = "QUILLFOLD_" + option;
  for (char& c : name)
    c = c == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return name;
}

std::string usualConfigurationFile() {
  const std::string folder = variable("XDG_CONFIG_HOME");
  return (folder.empty() ? variable("HOME") + "/.config" : folder) + "/quillfold/quillfold.toml";
}

// --- The options ---------------------------------------------------------------

struct TextOption {
  const char* name;
  std::string Options::*field;
  const char* type;
  const char* help;
};

constexpr TextOption kTextOptions[] = {
    {"--book", &Options::book, "PATH",
     "the address book: a .vcf file, a folder of them, or desktop"},
    {"--home", &Options::home, "DIR", "keep settings and bookkeeping here, not in the XDG folders"},
    {"--user", &Options::user, "ID", "the signed-in user (demo-user)"},
    {"--email", &Options::email, "ADDRESS", "of the user; without it and a phone ID@example.com"},
    {"--phone", &Options::phone, "NUMBER", "of the user"},
    {"--api-key", &Options::apiKey, "KEY", "checked by the backend"},
    {"--token", &Options::token, "TOKEN", "of the user; it stays on this device"},
    {"--environment", &Options::environment, "NAME", "dev, staging or prod (dev)"},
    {"--backend", &Options::backend, "ORIGIN", "the backend, in place of the environment's own"},
    {"--connect", &Options::connect, "HOST:PORT", "where the backend's address is really reached"},
};

// Each of these can be said by an environment variable and in the configuration file, too.
void addCommonOptions(CLI::App& app, Options& options) {
  for (const TextOption& text : kTextOptions)
    app.add_option(text.name, options.*text.field, text.help)->type_name(text.type);
  app.get_option("--user")->check(
      takes("a user", [](const std::string& user) { return !user.empty(); }));
  app.get_option("--environment")->check(takes("dev, staging or prod", isEnvironment));
  app.get_option("--backend")->check(takes("an http or https origin", isOrigin));
  app.get_option("--connect")->check(takes("HOST:PORT", isAuthority));
  app.add_option("--batch-size", options.batchSize, "contacts in one upload (20)")
      ->type_name("N")
      ->transform(takesNumber(1, 1000));
  app.add_flag("--notes", options.notes, "read the notes of the contacts as well");
  app.add_flag("--json", options.json, "one JSON document on standard output");
  app.add_flag("--verbose", options.verbose, "the library's log, with contacts, on standard error");
  for (CLI::Option* option :
       app.get_options([](const CLI::Option* each) { return each->get_configurable(); })) {
    option->envname(variableOf(option->get_lnames().front()));
  }
}

void addPage(CLI::App& app, Options& options) {
  const auto number = takesNumber(0, 1000000000);
  app.add_option("--offset", options.offset, "leave out so many at first")
      ->type_name("N")
      ->transform(number);
  app.add_option("--limit", options.limit, "show so many at the most; 0: none, just the total")
      ->type_name("N")
      ->transform(number);
}

void addSearch(CLI::App& app, Options& options) {
  app.add_option("--field", options.field, "what is looked at: name or all, or its number (all)")
      ->type_name("FIELD")
      ->transform(CLI::Validator(fieldNumber, ""));
  app.add_flag("--quick", options.quick,
               "the first matches for the text as it is, with its blanks");
}

void addProgress(CLI::App& app, Options& options) {
  app.add_flag("--progress", options.progress, "tell of each upload, where no terminal shows it");
}

void addHurry(CLI::App& app, Options& options) {
  app.add_flag("--hurry", options.hurry, "put the task's clock ahead instead of waiting");
}

void addEventDetails(CLI::App& app, Options& options) {
  const auto add = [&app](const char* name, std::optional<std::string>& field, const char* help) {
    return app.add_option(name, field, help)->type_name("TEXT");
  };
  const auto time = takes("a time such as 2026-12-24T18:00:00Z", isTime);
  EventDetails& event = options.event;
  add("--type", event.type, "meeting, or any other word (meeting)");
  add("--title", event.title, "what it is called");
  add("--about", event.about, "what it is about");
  add("--place", event.place, "where it is");
  add("--starts", event.starts, "a time such as 2026-12-24T18:00:00Z")->check(time);
  add("--ends", event.ends, "such a time")->check(time);
  app.add_flag("--private", event.isPrivate, "not for everybody");
}

struct Group {
  OptionGroup bit;
  void (*add)(CLI::App& app, Options& options);
};
constexpr Group kGroups[] = {{kPage, addPage},
                             {kSearch, addSearch},
                             {kProgress, addProgress},
                             {kHurry, addHurry},
                             {kEventDetails, addEventDetails}};

// --- The command line ------------------------------------------------------------

class CommandLine {
 public:
  CommandLine() {
    app_.set_help_flag("-h,--help", "this text");
    app_.set_version_flag("--version", std::string("quillfold ") + QuillfoldKitVersionString,
                          "the version");
    app_.fallthrough();
    app_.option_defaults()->take_last();
    app_.require_subcommand(1);
    app_.footer("quillfold COMMAND --help tells of one command, docs/cli.md of everything.");
    addConfiguration();
    addCommonOptions(app_, options_);
    for (const Command& command : allCommands())
      addCommand(command);
    completion_ = app_.add_subcommand("completion", "a completion script, for the shell to source");
    completion_->add_option("SHELL", shell_, "bash, zsh or fish")
        ->required()
        ->type_name("")
        ->check(takes("bash, zsh or fish", [](const std::string& shell) {
          return shell == "bash" || shell == "zsh" || shell == "fish";
        }));
    addEarlyOptions();
    addManual(app_, manualTexts());
  }

  std::variant<Invocation, int> parse(int argc, char** argv) {
    try {
      app_.parse(argc, argv);
      const CLI::App& command = parsedCommand();
      requireOwnOptions(command);
      if (completion_->parsed()) {
        std::cout << completionScript(app_, shell_);
        return 0;
      }
      // A user needs one of the two.
      if (options_.email.empty() && options_.phone.empty()) {
        options_.email = options_.user + "@example.com";
      }
      return Invocation{commands_.at(&command), options_};
    } catch (const CLI::Success& answered) {
      return app_.exit(answered);
    } catch (const CLI::ConfigError& problem) {
      return wrongUsage(inFile(problem.what()));
    } catch (const CLI::RequiredError& problem) {
      // What is there in its place says more.
      const auto unknown = app_.remaining(true);
      return wrongUsage(unknown.empty() ? problem.what() : unknown.front() + " is not known");
    } catch (const CLI::ParseError& problem) {
      const std::string place = file_->placeOf(problem.what());
      return wrongUsage(place.empty() ? named(problem.what()) : inFile(place + problem.what()));
    }
  }

 private:
  void addConfiguration() {
    const std::string named = variable("QUILLFOLD_CONFIG");
    app_.set_config("--config", named.empty() ? usualConfigurationFile() : named,
                    "a file of lines such as user = \"ann\"", !named.empty())
        ->type_name("FILE")
        ->configurable(false);
    app_.config_formatter(file_);
    app_.get_help_ptr()->configurable(false);
    app_.get_version_ptr()->configurable(false);
  }

  void addCommand(const Command& command) {
    const std::string name = command.name;
    const auto blank = name.find(' ');
    CLI::App* above =
        blank == std::string::npos ? &app_ : app_.get_subcommand(name.substr(0, blank));
    CLI::App* app = above->add_subcommand(
        blank == std::string::npos ? name : name.substr(blank + 1), command.summary);
    app->footer("quillfold --help tells of the options of all commands.");
    if (command.run == nullptr) {
      app->require_subcommand(1);
      return;
    }
    commands_[app] = &command;
    if (command.operand != nullptr) {
      const bool optional = *command.operand == '[';
      const std::string operand = command.operand;
      app->add_option(optional ? operand.substr(1, operand.size() - 2) : operand, options_.operand)
          ->type_name("")
          ->required(!optional);
    }
    for (const Group& group : kGroups) {
      if ((command.options & group.bit) != 0) group.add(*app, options_);
    }
    for (CLI::Option* option : app->get_options())
      option->configurable(false);
  }

  // The options of a command may stand in front of it, too.
  void addEarlyOptions() {
    const std::size_t common = app_.get_options().size();
    for (const Group& group : kGroups)
      group.add(app_, options_);
    early_ = app_.get_options();
    early_.erase(early_.begin(), early_.begin() + static_cast<std::ptrdiff_t>(common));
    for (CLI::Option* option : early_)
      option->group("")->configurable(false);
  }

  const CLI::App& parsedCommand() const {
    const CLI::App* app = &app_;
    for (auto below = app->get_subcommands(); !below.empty(); below = app->get_subcommands())
      app = below.front();
    return *app;
  }

  void requireOwnOptions(const CLI::App& command) const {
    for (const CLI::Option* option : early_) {
      const std::string name = "--" + option->get_lnames().front();
      if (option->count() == 0 || command.get_option_no_throw(name) != nullptr) continue;
      throw CLI::ValidationError(name, "not an option of " + command.get_name());
    }
  }

  // An option without a group, as those in front of a command, is not named by itself.
  std::string named(const std::string& problem) const {
    if (!problem.starts_with(": ")) return problem;
    for (const CLI::Option* option : early_) {
      for (const std::string& value : option->results()) {
        if (problem.starts_with(": \"" + value + '"')) {
          return "--" + option->get_lnames().front() + problem;
        }
      }
    }
    return problem;
  }

  std::string inFile(const std::string& problem) const {
    return app_.get_config_ptr()->as<std::string>() + ": " + problem;
  }

  int wrongUsage(const std::string& problem) const {
    const CLI::App& command = parsedCommand();
    std::string name;
    for (const CLI::App* app = &command; app != nullptr; app = app->get_parent())
      name = app->get_name() + (name.empty() ? "" : " ") + name;
    return host::wrongUsage(problem, name);
  }

  CLI::App app_{"The contacts of this device, synced, searched and shared.", "quillfold"};
  Options options_;
  const std::shared_ptr<ConfigurationFile> file_ = std::make_shared<ConfigurationFile>(app_);
  std::map<const CLI::App*, const Command*> commands_;
  std::vector<CLI::Option*> early_;
  CLI::App* completion_ = nullptr;
  std::string shell_;
};

}  // namespace

std::variant<Invocation, int> parseCommandLine(int argc, char** argv) {
  return CommandLine().parse(argc, argv);
}

}  // namespace host
