#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/sync_run.h"

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
  if (!source->backgroundTaskRegistered()) {
    throw std::runtime_error("the task could not be registered");
  }
  say(session, "Registered com.quillfold.contact-sync");
  source->scheduleBackgroundSync();
  say(session, "Asked for a run: in 15 minutes at the earliest, with a network");
  const double start = currentTime();
  if (session.arguments().hurry) {
    say(session, "Putting this program's clock ahead by 15 minutes");
    session.putClockAhead(kEarliestBeginSeconds);
  }
  const bool success = session.awaitTask([&session] { say(session, "The task runs"); });
  const std::int64_t uploaded = uploadedSince(session, start);
  if (session.arguments().json) {
    printJSON(Dictionary{{"success", success}, {"uploaded", uploaded}});
  } else {
    say(session, std::string("The task has ended ") + (success ? "well, " : "in failure, ") +
                     std::to_string(uploaded) + " uploaded");
  }
  return success ? 0 : 1;
}

}  // namespace host
