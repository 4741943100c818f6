#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/session.h"
#include "apps/quillfold/sync_report.h"

namespace host {

using namespace quillfold;

namespace {

void tell(const Session& session, const std::string& line) {
  if (!session.options().json) std::cout << timeText(currentTime()) << "  " << line << std::endl;
}

}  // namespace

// Registration, the request for a run, and the run itself. The account comes first: where
// access is not decided yet, a sync of its own at the start would leave the task nothing to do.
int deferCommand(Session& session) {
  const Account& account = session.account();
  session.requestAccess();
  // The task may outlast this.
  const auto success = std::make_shared<std::optional<bool>>();
  Failure failure = hostFailure("The task has ended before its work");
  session.tasks().onLaunch = [&session] { tell(session, "The task runs"); };
  session.tasks().onEnd = [success](bool given) { *success = given; };
  const AccountSubscription runs = account.onChange([&](const AccountChange& change) {
    if (change.failure) failure = *change.failure;
  });
  tell(session, "Asking for a run: in 15 minutes at the earliest, with a network");
  if (session.options().hurry) tell(session, "The task's clock is ahead by 15 minutes");
  session.wait(account.deferSync());
  session.runUntil([&success] { return success->has_value(); });
  if (!*success) throw Interrupted();
  const SyncReport done = session.takeRuns().value_or(SyncReport());
  // The system's word is about the run alone.
  const bool well = **success && isWhole(done);
  tell(session, std::string("The task has ended ") + (well ? "well, " : "in failure, ") +
                    std::to_string(done.uploaded) + " uploaded");
  if (!**success) {
    printFailure(failure, session.options().json, done.uploaded);
    return kFailureStatus;
  }
  sayProblems(done);
  if (session.options().json) printJSON(Dictionary{{"success", well}, {"uploaded", done.uploaded}});
  return well ? 0 : kFailureStatus;
}

}  // namespace host
