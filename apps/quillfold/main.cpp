// The command line host of Quillfold: the example that others start from.
#include <poll.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <iostream>

#include "apps/quillfold/command_line.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/session.h"
#include "apps/quillfold/sync_report.h"

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

std::optional<std::int64_t> uploadedIn(host::Session& session) {
  const auto runs = session.takeRuns();
  return runs ? std::optional(runs->uploaded) : std::nullopt;
}

// The status once it is told what the library has uploaded by itself; that this program has
// stopped it is no problem.
int afterRuns(host::Session& session, int status) {
  auto runs = session.takeRuns();
  if (!runs || runs->uploaded == 0) return status;
  runs->stopped = false;
  host::say(std::to_string(runs->uploaded) + " uploaded meanwhile");
  host::sayProblems(*runs);
  return host::isWhole(*runs) ? status : host::kFailureStatus;
}

// Leaves nothing under way.
int runIn(host::Session& session, const host::Command& command) {
  const bool json = session.options().json;
  try {
    const int status = command.run(session);
    session.close();
    return afterRuns(session, status);
  } catch (const host::Interrupted&) {
    session.close();
    host::printInterruption(json, uploadedIn(session));
    return session.interrupts().exitStatus();
  } catch (const quillfold::Failure& failure) {
    session.close();
    host::printFailure(failure, json, uploadedIn(session));
    return host::kFailureStatus;
  }
}

int run(const host::Invocation& invocation) {
  const host::Command& command = *invocation.command;
  const bool json = invocation.options.json;
  try {
    host::Session session(invocation.options);
    return runIn(session, command);
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
