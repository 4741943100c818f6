// Waiting for one answer of the library's services.
#pragma once

#include <memory>
#include <optional>

#include "apps/quillfold/host_session.h"

namespace host {

// Starts a call whose completion takes (result, error), waits for it, and returns
// the result. Throws LibraryFailure for an error.
template <typename Result, typename Start>
Result answerOf(HostSession& session, Start start) {
  Result result{};
  quillfold::ErrorPtr failure;
  session.await([&](const HostSession::Done& done) {
    start([&, done](Result given, const quillfold::ErrorPtr& error) {
      result = std::move(given);
      failure = error;
      done();
    });
  });
  if (failure) throw LibraryFailure(failure);
  return result;
}

// The same for a service that gives records: throws LibraryFailure for an answer
// of no content, too.
template <typename Record, typename Start>
std::shared_ptr<Record> recordOf(HostSession& session, Start start) {
  auto record = answerOf<std::shared_ptr<Record>>(session, std::move(start));
  if (record) return record;
  throw LibraryFailure(
      quillfold::QFAPIError::errorWithCode(quillfold::QFAPIErrorCodeInvalidResponse));
}

}  // namespace host
