#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/progress.h"
#include "apps/quillfold/session.h"
#include "apps/quillfold/sync_report.h"

namespace host {

using namespace quillfold;

namespace {

int tell(const Session& session, const SyncReport& report) {
  sayProblems(report);
  if (session.options().json) {
    printJSON(reportObject(report));
  } else {
    std::cout << reportText(report) << '\n';
  }
  if (report.stopped) return session.interrupts().exitStatus();
  return isWhole(report) ? 0 : kFailureStatus;
}

}  // namespace

int syncCommand(Session& session) {
  session.requestAccess();
  Progress progress(session.options().progress);
  try {
    // A signal ends the run, which then reports what it has done.
    const SyncReport report =
        session.account()
            .sync({.progress = progress.shower(), .stop = session.interrupts().token()})
            .get();
    progress.end();
    session.takeRuns();
    return tell(session, report);
  } catch (const Failure& failure) {
    progress.end();
    const auto runs = session.takeRuns();
    printFailure(failure, session.options().json, runs ? runs->uploaded : 0);
    return kFailureStatus;
  } catch (const Interrupted&) {
    // The account was opening; the library may have begun by itself.
    session.close();
    auto report = session.takeRuns();
    if (!report) throw;
    report->stopped = true;
    return tell(session, *report);
  }
}

}  // namespace host
