#include <iostream>

#include "host/commands.h"
#include "host/output.h"
#include "host/sync_run.h"

namespace host {

using namespace quillfold;

namespace {

// The backend's record of this device, for the task to work on.
QFContactSourcePtr registeredSource(HostSession& session) {
  QFContactSourcePtr source;
  ErrorPtr failure;
  session.await([&](const HostSession::Done& done) {
    QFAPIClient::sharedInstance()->createContactSourceWithName(
        "quillfold", QFSourceTypeDevice,
        [&, done](const QFContactSourcePtr& made, const ErrorPtr& error) {
          source = made;
          failure = error;
          done();
        });
  });
  if (failure) throw LibraryFailure(failure);
  return source;
}

void say(const HostSession& session, const std::string& line) {
  if (!session.arguments().json) std::cout << timeText(currentTime()) << "  " << line << std::endl;
}

}  // namespace

// Setup, registration, the request for a run, and the run itself.
int deferCommand(HostSession& session) {
  constexpr double kEarliestBeginSeconds = 900;
  session.initialize();
  session.requestAccess();
  const QFContactSourcePtr source = registeredSource(session);
  source->setupSyncWithUserId(session.arguments().user, session.arguments().batchSize);
  source->registerBackgroundTasks();
  say(session, source->backgroundTaskRegistered() ? "Registered com.quillfold.contact-sync"
                                                  : "The task could not be registered");
  source->scheduleBackgroundSync();
  say(session, "Asked for a run: in 15 minutes at the earliest, with a network");
  const double start = currentTime();
  if (session.arguments().hurry) {
    say(session, "Putting this program's clock ahead by 15 minutes");
    session.putClockAhead(kEarliestBeginSeconds);
  }
  while (!session.runUntil([&source] { return source->isRunning(); }, 0.2)) {
  }
  say(session, "The task runs");
  while (!session.runUntil([&source] { return !source->isRunning(); }, 0.2)) {
  }
  const std::int64_t uploaded = uploadedSince(session, start);
  if (session.arguments().json) {
    printJSON(Dictionary{{"ran", true}, {"uploaded", uploaded}});
  } else {
    say(session, "The task has ended, " + std::to_string(uploaded) + " uploaded");
  }
  return 0;
}

}  // namespace host
