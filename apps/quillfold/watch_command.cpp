#include <algorithm>
#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/progress.h"
#include "apps/quillfold/session.h"
#include "apps/quillfold/sync_report.h"

namespace host {

using namespace quillfold;

namespace {

constexpr double kFirstPause = 1;
constexpr double kLongestPause = 60;

// A screen as a graphical host would have one: what it subscribes to goes with it.
class WatchScreen : public UIViewController {
 public:
  explicit WatchScreen(const std::function<void(const char* line)>& tell) {
    struct Told {
      std::int64_t event;
      const char* text;
    };
    constexpr Told kTold[] = {{QFEventContactStoreDidChange, "the address book has changed"},
                              {QFEventAppDidBecomeActive, "became active"},
                              {QFEventAppDidEnterBackground, "entered the background"}};
    for (const Told& told : kTold) {
      subscribeToQuillfoldEvent(told.event, "quillfold-host",
                                [tell, text = told.text] { tell(text); });
    }
  }
};

// Whether the same may go well later: the backend is not there, or not well.
bool mayPass(const Failure& failure) {
  return failure.domain() == QFAPIErrorDomain &&
         (failure.code() == QFAPIErrorCodeNetwork || failure.statusCode() >= 500);
}

class Watch {
 public:
  explicit Watch(Session& session) : session_(session), progress_(session.options().progress) {
    session.onChange = [this](const AccountChange& change) { take(change); };
  }
  ~Watch() { session_.onChange = {}; }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  // The exit status: whether the address book is uploaded at the end.
  int run() {
    try {
      if (!open()) return kFailureStatus;
      session_.requestAccess();
    } catch (const Interrupted&) {
      session_.close();
      if (!stopped_) throw;
      return session_.interrupts().exitStatus();
    }
    const auto screen = makeScreen<WatchScreen>([this](const char* line) { tell(line); });
    progress_.end();
    if (!session_.options().json) std::cout << "Watching. Interrupt to stop." << std::endl;
    for (;;) {
      if (std::cout) sync();
      retryAt_.reset();
      session_.runUntil([this] { return !std::cout || retryAt_.has_value(); });
      if (retryAt_) pauseUntil(*retryAt_);
      if (session_.interrupts().came() || !std::cout) return end();
    }
  }

 private:
  // Returns false if a signal comes before the backend does.
  bool open() {
    for (;;) {
      whole_ = true;
      try {
        session_.account();
        return true;
      } catch (const Failure& failure) {
        if (!mayPass(failure)) throw;
        fail(failure);
      }
      pauseUntil(*retryAt_);
      if (session_.interrupts().came()) return false;
    }
  }

  // The library syncs by itself when the address book changes; this is for the first time and
  // for what has failed. It is told of as every run is.
  void sync() {
    session_.account()
        .sync({.progress = progress_.shower(), .stop = session_.interrupts().token()})
        .then([this](const Result<SyncReport>& report) {
          syncing_ = false;
          if (!report) fail(report.failure());
        });
    syncing_ = true;
  }

  // Ends what is under way, whoever started it, which is then told of.
  int end() {
    session_.close();
    progress_.end();
    // Its renewal was stopped before it began.
    untold_.stopped = true;
    if (untold_.uploaded > 0) takeStopped(untold_);
    if (stopped_) return session_.interrupts().exitStatus();
    return whole_ ? 0 : kFailureStatus;
  }

  void take(const AccountChange& change) {
    if (change.kind != AccountChange::Kind::Sync) return;
    progress_.end();
    add(untold_, *change.report);
    if (change.failure) {
      // One of this program's own runs may still renew its token and go on.
      if (!syncing_) fail(*change.failure);
      return;
    }
    if (!change.report->stopped) {
      try {
        // To the library one that has gone is empty.
        session_.requireBook();
      } catch (const Failure& failure) {
        return fail(failure);
      }
    }
    const SyncReport report = std::exchange(untold_, {});
    report.stopped ? takeStopped(report) : takeWhole(report);
  }

  void takeWhole(const SyncReport& report) {
    whole_ = isWhole(report);
    pause_ = kFirstPause;
    sayProblems(report);
    if (report.uploaded > 0) print(report);
  }

  // One that has done nothing is worth a word where a signal has come, and once.
  void takeStopped(const SyncReport& report) {
    const bool told = std::exchange(stopped_, session_.interrupts().came());
    if (report.uploaded == 0 && (told || !stopped_)) return;
    sayProblems(report);
    print(report);
  }

  void tell(const std::string& line) {
    if (session_.options().json) return;
    progress_.end();
    std::cout << timeText(currentTime()) << "  " << line << std::endl;
  }

  void print(const SyncReport& report) {
    if (session_.options().json) return printJSON(reportObject(report));
    tell(std::to_string(report.uploaded) + " uploaded");
  }

  void fail(const Failure& failure) {
    whole_ = false;
    progress_.end();
    printFailure(failure, session_.options().json, std::exchange(untold_, {}).uploaded);
    if (session_.interrupts().came()) return;
    say("Trying again in " + std::to_string(static_cast<int>(pause_)) + " s");
    retryAt_ = currentTime() + pause_;
    pause_ = std::min(2 * pause_, kLongestPause);
  }

  void pauseUntil(double time) {
    session_.runUntil([] { return !std::cout; }, std::max(0.0, time - currentTime()));
  }

  Session& session_;
  Progress progress_;
  // What runs have done that have failed, and of which nobody has been told.
  SyncReport untold_;
  bool whole_ = true;
  bool syncing_ = false;
  bool stopped_ = false;
  double pause_ = kFirstPause;
  std::optional<double> retryAt_;
};

}  // namespace

int watchCommand(Session& session) {
  return Watch(session).run();
}

}  // namespace host
