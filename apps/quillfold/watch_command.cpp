#include <unistd.h>

#include <atomic>
#include <csignal>
#include <iostream>
#include <thread>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/sync_run.h"

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

// Takes the signals, which have to be blocked, on a thread of its own: what stands
// for the application's life is posted on the main queue, anything else ends.
void onSignals(HostSession& session, const sigset_t& signals, const std::atomic<bool>& watching,
               std::function<void()> end) {
  std::thread([&session, signals, &watching, end = std::move(end)] {
    int signal = 0;
    while (sigwait(&signals, &signal) == 0) {
      const bool ends = signal != SIGUSR1 && signal != SIGUSR2;
      // Nobody looks at the main queue's news while the start is waited for.
      if (ends && !watching) _exit(128 + signal);
      if (ends) return session.onMainQueue(end);
      const char* name = signal == SIGUSR1 ? UIApplicationDidBecomeActiveNotification
                                           : UIApplicationDidEnterBackgroundNotification;
      session.onMainQueue(
          [name] { NSNotificationCenter::defaultCenter()->postNotificationName(name); });
    }
  }).detach();
}

struct Told {
  std::int64_t event;
  const char* text;
};
constexpr Told kTold[] = {{QFEventContactStoreDidChange, "the address book has changed"},
                          {QFEventAppDidBecomeActive, "became active"},
                          {QFEventAppDidEnterBackground, "entered the background"}};

// A screen as a graphical host would have one: what it subscribes to goes with it.
class WatchScreen : public UIViewController {
 public:
  WatchScreen() {
    for (const Told& told : kTold) {
      subscribeToQuillfoldEvent(told.event, kSubscriber, [text = told.text] {
        std::cout << timeText(currentTime()) << "  " << text << std::endl;
      });
    }
  }
};

}  // namespace

int watchCommand(HostSession& session) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGUSR1, SIGUSR2})
    sigaddset(&signals, signal);
  // Before the first thread starts, so that all of them leave the signals alone.
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  std::atomic<bool> watching = false;
  bool interrupted = false;
  onSignals(session, signals, watching, [&interrupted] { interrupted = true; });
  UploadReport report(session);
  session.initialize();
  session.requestAccess();
  watching = true;
  // The library syncs by itself when the address book changes; this only tells.
  std::unique_ptr<WatchScreen> screen;
  if (!session.arguments().json) {
    screen = std::make_unique<WatchScreen>();
    std::cout << "Watching. Interrupt to stop." << std::endl;
  }
  session.service().syncContacts({});
  while (!session.runUntil([&interrupted] { return interrupted; }, 0.2))
    report.tell();
  report.tell();
  return 0;
}

}  // namespace host
