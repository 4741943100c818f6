// The command line host of Quillfold: the example that others start from.
#include <poll.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <iostream>

#include "apps/quillfold/command_line.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/session.h"

namespace {

// The status, unless the output could not be written. A reader that has had enough of it, as
// `head` has, is no failure.
int afterOutput(int status) {
  std::cout.flush();
  if (std::cout) return status;
  pollfd output{STDOUT_FILENO, POLLOUT, 0};
  if (poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0) return status;
  host::say("The output could not be written");
  return host::kFailureStatus;
}

int run(const host::Invocation& invocation) {
  const host::Command& command = *invocation.command;
  const bool json = invocation.options.json;
  try {
    host::Session session(invocation.options);
    try {
      return command.run(session);
    } catch (const host::Interrupted&) {
      host::printInterruption(json);
      return session.interrupts().exitStatus();
    }
  } catch (const quillfold::Failure& failure) {
    host::printFailure(failure, json);
  } catch (const host::WrongUsage& problem) {
    return host::wrongUsage(problem.what(), std::string("quillfold ") + command.name);
  } catch (const std::exception& problem) {
    host::printFailure(host::hostFailure(problem.what()), json);
  }
  return host::kFailureStatus;
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  // What can't be written is told by its error.
  for (const int signal : {SIGPIPE, SIGXFSZ})
    std::signal(signal, SIG_IGN);
  const auto parsed = host::parseCommandLine(argc, argv);
  if (const int* status = std::get_if<int>(&parsed)) return afterOutput(*status);
  return afterOutput(run(std::get<host::Invocation>(parsed)));
}
