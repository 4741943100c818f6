// quillfold-backend: runs the development backend until a signal ends it.
#include <csignal>
#include <cstdio>

#include "apps/backend/options.h"

namespace {

using namespace quillfold::backend;

constexpr int kFailure = 1;
constexpr int kWrongUsage = 2;

void logToStandardError(const std::string& line) {
  std::fprintf(stderr, "%s\n", line.c_str());
}

int run(CommandLine line) {
  // Blocked before the first thread starts, so that only sigwait gets them.
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);

  if (!line.quiet) line.options.log = logToStandardError;
  BackendServer server(line.options);
  for (const auto& [path, misbehaviour] : line.misbehaviours) {
    server.setMisbehaviour(path, misbehaviour);
  }
  server.start();
  std::printf("quillfold-backend listening on %s\n", server.url().c_str());
  std::fflush(stdout);

  int signal = 0;
  sigwait(&ends, &signal);
  server.stop();
  return 0;
}

}  // namespace

int main(int count, char** values) {
  try {
    CommandLine line = parseCommandLine({values + 1, values + count});
    if (!line.answer.empty()) {
      std::fputs(line.answer.c_str(), stdout);
      return 0;
    }
    return run(std::move(line));
  } catch (const UsageError& error) {
    std::fprintf(stderr, "quillfold-backend: %s\nSee quillfold-backend --help.\n", error.what());
    return kWrongUsage;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quillfold-backend: %s\n", error.what());
    return kFailure;
  }
}
