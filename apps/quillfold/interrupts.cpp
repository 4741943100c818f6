#include "apps/quillfold/interrupts.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <csignal>
#include <system_error>
#include <thread>

#include "apps/quillfold/terminal.h"

namespace host {

using namespace quillfold;

namespace {

bool isIgnored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t takenSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2}) {
    if (!isIgnored(signal)) sigaddset(&signals, signal);
  }
  return signals;
}

void tellOfLife(const char* notification) {
  Platform::current().mainQueue->async([notification] {
    NSNotificationCenter::defaultCenter()->postNotificationName(notification);
  });
}

}  // namespace

Interrupts::Interrupts() : state_(std::make_shared<State>()) {
  const sigset_t signals = takenSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  state_->descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (state_->descriptor < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

void Interrupts::start(std::function<void(int status)> end) {
  // Lives as long as the process.
  std::thread([state = state_, end = std::move(end)] { take(state, end); }).detach();
}

void Interrupts::take(const std::shared_ptr<State>& state,
                      const std::function<void(int status)>& end) {
  const sigset_t signals = takenSignals();
  for (int signal = 0; sigwait(&signals, &signal) == 0;) {
    if (signal == SIGUSR1) {
      tellOfLife(UIApplicationDidBecomeActiveNotification);
    } else if (signal == SIGUSR2) {
      tellOfLife(UIApplicationDidEnterBackgroundNotification);
    } else if (state->stop.stop_requested()) {
      restoreTerminal();
      _exit(128 + signal);
    } else {
      state->signal = signal;
      eventfd_write(state->descriptor, 1);
      state->stop.request_stop();
      // Looked at behind the stop: whoever sets it looks at that behind it.
      if (state->atOnce && !state->ends.exchange(true)) end(128 + signal);
    }
  }
}

}  // namespace host
