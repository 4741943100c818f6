#include <csignal>
#include <iostream>
#include <thread>

#include "host/commands.h"
#include "host/output.h"
#include "host/sync_run.h"

namespace host {

using namespace quillfold;

namespace {

constexpr const char* kSubscriber = "quillfold-host";

// Tells what has gone up since the last look, once a sync is over.
class UploadReport {
 public:
  explicit UploadReport(HostSession& session) : session_(session), since_(currentTime()) {}

  void tell() {
    if (session_.service().syncInProgress()) return;
    const std::int64_t uploaded = uploadedSince(session_, since_);
    if (uploaded == 0) return;
    since_ = currentTime();
    if (session_.arguments().json) {
      printJSON(Dictionary{{"uploaded", uploaded}});
    } else {
      std::cout << timeText(since_) << "  " << uploaded << " uploaded\n" << std::flush;
    }
  }

 private:
  HostSession& session_;
  double since_;
};

// Calls back, on a thread of its own, on the first interrupt or termination. The
// signals have to be blocked.
void onInterrupt(const sigset_t& signals, std::function<void()> handler) {
  std::thread([signals, handler = std::move(handler)] {
    int signal = 0;
    sigwait(&signals, &signal);
    handler();
  }).detach();
}

}  // namespace

int watchCommand(HostSession& session) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  // Before the first thread starts, so that all of them leave the signals alone.
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  UploadReport report(session);
  session.initialize();
  session.requestAccess();
  bool interrupted = false;
  onInterrupt(signals, [&] { session.onMainQueue([&interrupted] { interrupted = true; }); });
  // The library syncs by itself when the address book changes; this only tells.
  session.service().eventWrapperService()->subscribeToEvent(
      QFEventContactStoreDidChange, kSubscriber, [&session] {
        if (session.arguments().json) return;
        std::cout << timeText(currentTime()) << "  the address book has changed\n" << std::flush;
      });
  if (!session.arguments().json) std::cout << "Watching. Interrupt to stop.\n" << std::flush;
  session.service().syncContacts({});
  while (!session.runUntil([&interrupted] { return interrupted; }, 0.2))
    report.tell();
  session.service().eventWrapperService()->unsubscribeFromEvent(QFEventContactStoreDidChange,
                                                                kSubscriber);
  report.tell();
  return 0;
}

}  // namespace host
