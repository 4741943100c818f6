#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/sync_run.h"

namespace host {

using namespace quillfold;

namespace {

// The number of contacts that the operation reads.
std::int64_t countOf(HostSession& session,
                     void (QFContactService::*operation)(ContactsCompletion)) {
  std::int64_t count = 0;
  ErrorPtr failure;
  session.await([&](const HostSession::Done& done) {
    (session.service().*
     operation)([&, done](const std::optional<QFContactList>& contacts, const ErrorPtr& error) {
      failure = error;
      if (contacts) count = std::ssize(*contacts);
      done();
    });
  });
  if (failure) throw LibraryFailure(failure);
  return count;
}

void printOutcome(const SyncOutcome& outcome, std::int64_t contacts, double seconds, bool json) {
  if (json) {
    printJSON(Dictionary{{"success", true},
                         {"contacts", contacts},
                         {"uploaded", outcome.uploaded},
                         {"batches", outcome.batches},
                         {"seconds", seconds}});
    return;
  }
  std::cout << contacts << " contacts read, " << outcome.uploaded << " uploaded in "
            << outcome.batches << (outcome.batches == 1 ? " batch" : " batches") << ", "
            << column(std::to_string(seconds), 4) << " s\n";
}

}  // namespace

int syncCommand(HostSession& session) {
  const double start = currentTime();
  session.initialize();
  session.requestAccess();
  const std::int64_t contacts = countOf(session, &QFContactService::fetchContactsWithCompletion);
  const std::int64_t waiting =
      countOf(session, &QFContactService::getContactsForSyncWithCompletion);
  // Those that a sync of the library's own has sent meanwhile count as well.
  const std::int64_t total = waiting + uploadedSince(session, start);
  ProgressBar bar;
  const SyncOutcome outcome =
      runSync(session, start, [&] { bar.show(uploadedSince(session, start), total); });
  if (outcome.error) throw LibraryFailure(outcome.error);
  printOutcome(outcome, contacts, currentTime() - start, session.arguments().json);
  return 0;
}

}  // namespace host
