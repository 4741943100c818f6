// What the readings of answers share, and the hop to the main queue.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <type_traits>

#include "foundation/error.h"
#include "foundation/value.h"
#include "platform/dispatch.h"
#include "platform/url_session.h"

namespace quillfold {

// The error of a request that got no answer (code 4), else null.
ErrorPtr transportFailureOf(const URLResult& result);
// The error of an answer with a status of 400 or above, null for a success. What
// the server says of it goes to the log.
ErrorPtr logRefusal(const URLResult& answer);
// What stands under "data" of an answer. Absent, with the error set, for a refusal
// (logRefusal), for no JSON (code 2) and for no "data" (code 1).
std::optional<Value> readPayload(const URLResult& answer, ErrorPtr& error);

// The entry under the key if the value is a dictionary that has it, else null.
const Value* entry(const Value& value, const char* key);

// The body as text for a log line; "(null)" where it is no UTF-8.
std::string loggedText(const Data& body);

// Calls the completion on the main queue.
template <typename Result>
void completeOnMain(std::function<void(Result, ErrorPtr)> completion,
                    std::type_identity_t<Result> result, ErrorPtr error = nullptr) {
  dispatchMain(
      [completion = std::move(completion), result = std::move(result),
       error = std::move(error)]() mutable { completion(std::move(result), std::move(error)); });
}

// The same with an error and without a result; a count is 0 then.
template <typename Result>
void failOnMain(std::function<void(Result, ErrorPtr)> completion, ErrorPtr error) {
  completeOnMain(std::move(completion), Result(), std::move(error));
}

}  // namespace quillfold
