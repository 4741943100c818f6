#include "apps/quillfold/sync_run.h"

namespace host {

using namespace quillfold;

namespace {

bool isBusy(const ErrorPtr& error) {
  return error && error->domain() == QFSyncErrorDomain && error->code() == 0;
}

ErrorPtr syncOnce(HostSession& session, const std::function<void()>& step) {
  ErrorPtr failure;
  session.await(
      [&](const HostSession::Done& done) {
        session.service().syncContacts([&failure, done](bool, const ErrorPtr& error) {
          failure = error;
          done();
        });
      },
      step);
  return failure;
}

}  // namespace

std::int64_t uploadedSince(HostSession& session, double secondsSince1970) {
  const SyncInfoList records = session.service().allSyncInfo();
  return std::count_if(records.begin(), records.end(), [&](const QFContactSyncInfoPtr& record) {
    return record->lastSyncedAt() >= secondsSince1970;
  });
}

SyncOutcome runSync(HostSession& session, double start, const std::function<void()>& step) {
  SyncOutcome outcome;
  outcome.error = syncOnce(session, step);
  while (isBusy(outcome.error)) {
    const auto idle = [&session] { return !session.service().syncInProgress(); };
    while (!session.runUntil(idle, 0.1)) {
      if (step) step();
    }
    outcome.error = syncOnce(session, step);
  }
  outcome.uploaded = uploadedSince(session, start);
  const std::int64_t size = session.service().batchSize();
  outcome.batches = outcome.uploaded / size + (outcome.uploaded % size != 0 ? 1 : 0);
  return outcome;
}

}  // namespace host
