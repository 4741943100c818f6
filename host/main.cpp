// The command line host of Quillfold: the example that others start from.
#include <clocale>
#include <iostream>
#include <map>

#include "host/arguments.h"
#include "host/commands.h"
#include "host/host_session.h"
#include "host/output.h"

namespace {

constexpr int kFailure = 1;
constexpr int kWrongUsage = 2;

int run(const host::Arguments& arguments) {
  static const std::map<std::string, int (*)(host::HostSession&)> commands{
      {"sync", host::syncCommand},  {"plan", host::planCommand},     {"list", host::listCommand},
      {"show", host::showCommand},  {"status", host::statusCommand}, {"watch", host::watchCommand},
      {"defer", host::deferCommand}};
  host::HostSession session(arguments);
  try {
    return commands.at(arguments.command)(session);
  } catch (const host::LibraryFailure& failure) {
    host::printFailure(failure.error(), arguments.json);
    return kFailure;
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  const auto parsed = host::parseArguments(argc, argv);
  if (std::holds_alternative<host::HelpRequested>(parsed)) {
    std::cout << host::usageText();
    return 0;
  }
  if (const auto* problem = std::get_if<host::UsageError>(&parsed)) {
    std::cerr << "quillfold: " << problem->text << "\n\n" << host::usageText();
    return kWrongUsage;
  }
  return run(std::get<host::Arguments>(parsed));
}
