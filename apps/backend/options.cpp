#include "apps/backend/options.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>

#include "apps/support/manual.h"
#include "apps/support/option_checks.h"

namespace quillfold::backend {
namespace {

using support::takes;
using support::takesNumber;

const support::Manual kManual{
    .description = {{"",
                     "A server of the HTTP interface that Quillfold talks to, for the desk and for "
                     "tests: with real state, real refusals, and faults on demand."},
                    {"",
                     "When it is ready it prints one line, with its address. Every request is "
                     "logged as one line to standard error. It runs until SIGINT or SIGTERM."}},
    .exitStatus = {{"0", "Ended by a signal."},
                   {"1", "Failed, as where the port is in use or the database is bad."},
                   {"2", "Wrong usage."}},
    .environment = {},
    .files = {},
    .examples = {{"quillfold-backend --port 0", "On any free port, with everything in memory."},
                 {"quillfold-backend --misbehave /health=status:503", "Never well."}},
    .seeAlso = "quillfold(1)",
};

// Why the text tells of no fault; empty where it does.
std::string faultProblem(const std::string& text) {
  try {
    parseMisbehaviour(text);
    return {};
  } catch (const std::invalid_argument& problem) {
    return problem.what();
  }
}

}  // namespace

CommandLine parseCommandLine(std::vector<std::string> arguments) {
  CommandLine line;
  BackendOptions& options = line.options;
  options.port = 8080;
  options.demo = true;
  std::int64_t tokenSeconds = -1;
  std::vector<std::string> faults;

  CLI::App app("A development backend for Quillfold.", "quillfold-backend");
  app.set_help_flag("-h,--help", "this text");
  app.set_version_flag("--version", "quillfold-backend " QUILLFOLD_VERSION, "the version");
  app.option_defaults()->take_last()->disable_flag_override();
  const auto text = [&app](const char* name, auto& field, const char* type, const char* help) {
    return app.add_option(name, field, help)->type_name(type)->allow_extra_args(false);
  };
  const auto filled = takes("a value", [](const std::string& value) { return !value.empty(); });
  text("--host", options.host, "ADDRESS", "listen on this address (127.0.0.1)")->check(filled);
  text("--port", options.port, "N", "listen on this port, 0 for any free one (8080)")
      ->transform(takesNumber(0, 65535));
  text("--database", options.database, "FILE", "keep everything in this file, not just in memory")
      ->check(filled);
  text("--api-key", options.apiKeys, "KEY", "take this API key; without the option, any")
      ->take_all()
      ->check(filled);
  text("--token-seconds", tokenSeconds, "N", "let no token live longer than this")
      ->transform(takesNumber(0, 315360000));
  text("--misbehave", faults, "PATH=KIND[:ARG]",
       "on PATH commit a fault: status:CODE, empty:CODE, garbage, delay:MILLISECONDS, drop or "
       "truncate")
      ->take_all()
      ->check(CLI::Validator([](std::string& fault) { return faultProblem(fault); }, ""));
  app.add_flag_callback(
      "--no-demo", [&options] { options.demo = false; },
      "add no invented people around a user who uploads contacts");
  app.add_flag("--quiet", line.quiet, "log no requests");
  addManual(app, kManual);

  try {
    std::reverse(arguments.begin(), arguments.end());
    app.parse(std::move(arguments));
  } catch (const CLI::CallForHelp&) {
    line.answer = app.help();
  } catch (const CLI::CallForVersion& answer) {
    line.answer = answer.what() + std::string("\n");
  } catch (const CLI::ParseError& problem) {
    throw UsageError(problem.what());
  }
  if (tokenSeconds >= 0) options.tokenSeconds = tokenSeconds;
  for (const std::string& fault : faults)
    line.misbehaviours.push_back(parseMisbehaviour(fault));
  return line;
}

}  // namespace quillfold::backend
