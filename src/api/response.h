// What the readings of answers share, and the hop to the main queue.
#pragma once

#include <string>

#include "foundation/error.h"
#include "foundation/value.h"
#include "platform/dispatch.h"
#include "platform/url_session.h"

namespace quillfold {

// The error of a failed transport (code 4) or of a status of 400 and above; null
// for a success.
ErrorPtr failureOf(const URLResult& result);
// The first of the two alone.
ErrorPtr transportFailureOf(const URLResult& result);

// The entry under the key if the value is a dictionary that has it, else null.
const Value* entry(const Value& value, const char* key);

// The body as text for a log line; "(null)" where it is no UTF-8.
std::string loggedText(const Data& body);

// Calls the completion on the main queue.
template <typename Completion, typename Result>
void completeOnMain(Completion completion, Result result, ErrorPtr error) {
  dispatchMain(
      [completion = std::move(completion), result = std::move(result),
       error = std::move(error)]() mutable { completion(std::move(result), std::move(error)); });
}

}  // namespace quillfold
