// The command line host of Quillfold: the example that others start from.
#include <clocale>
#include <csignal>
#include <iostream>

#include "apps/quillfold/arguments.h"
#include "apps/quillfold/commands.h"
#include "apps/quillfold/host_session.h"
#include "apps/quillfold/output.h"

namespace {

constexpr int kFailure = 1;
constexpr int kWrongUsage = 2;

void printUsage(std::ostream& out) {
  out << "Usage: quillfold [OPTIONS] COMMAND\n\nCommands\n";
  for (const host::Command& command : host::allCommands()) {
    std::string words = std::string(command.name) + ' ' + command.operands;
    out << "  " << host::column(words, 20) << ' ' << command.summary << '\n';
  }
  out << '\n' << host::optionsText();
}

int wrongUsage(const std::string& problem) {
  std::cerr << "quillfold: " << problem << "\n\n";
  printUsage(std::cerr);
  return kWrongUsage;
}

int run(const host::Command& command, const host::Arguments& arguments) {
  try {
    host::HostSession session(arguments);
    const int status = command.run(session);
    std::cout.flush();
    if (std::cout) return status;
    std::cerr << "quillfold: the output could not be written\n";
    return kFailure;
  } catch (const host::LibraryFailure& failure) {
    host::printFailure(failure.error(), arguments.json);
    return kFailure;
  } catch (const host::WrongUsage& problem) {
    return wrongUsage(problem.what());
  } catch (const std::exception& problem) {
    std::cerr << "quillfold: " << problem.what() << '\n';
    return kFailure;
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  std::signal(SIGPIPE, SIG_IGN);
  const auto parsed = host::parseArguments(argc, argv);
  if (std::holds_alternative<host::HelpRequested>(parsed)) {
    printUsage(std::cout);
    return 0;
  }
  if (const auto* problem = std::get_if<host::UsageError>(&parsed)) {
    return wrongUsage(problem->text);
  }
  const auto& arguments = std::get<host::Arguments>(parsed);
  const host::Command* command = host::findCommand(arguments.command);
  if (command == nullptr) return wrongUsage("unknown command: " + arguments.command);
  const std::size_t operands = arguments.operands.size();
  if (operands < command->leastOperands || operands > command->mostOperands) {
    return wrongUsage(arguments.command + " takes " +
                      (command->mostOperands == 0 ? "no operand" : command->operands));
  }
  return run(*command, arguments);
}
