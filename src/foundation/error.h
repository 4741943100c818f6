// Errors that callbacks receive, and the exceptions that a platform raises.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "foundation/export.h"
#include "foundation/value.h"

namespace quillfold {

inline constexpr const char* NSLocalizedDescriptionKey = "NSLocalizedDescription";

class NSError;
// Absent (null) stands for "no error".
using ErrorPtr = std::shared_ptr<const NSError>;

// One failure: a domain, a code within it, and a user-info dictionary whose text
// stands under NSLocalizedDescriptionKey, if it has one. Immutable, safe to share
// between threads.
class QUILLFOLD_EXPORT NSError {
 public:
  static ErrorPtr errorWithDomain(std::string domain, std::int64_t code, Dictionary userInfo = {},
                                  ErrorPtr underlyingError = nullptr);

  const std::string& domain() const { return domain_; }
  std::int64_t code() const { return code_; }

  // Every entry but the underlying error, which is an object of its own.
  const Dictionary& userInfo() const { return userInfo_; }
  // The entry under NSUnderlyingErrorKey; absent for most errors.
  const ErrorPtr& underlyingError() const { return underlyingError_; }

  // The text under NSLocalizedDescriptionKey, or, without one, "The operation
  // couldn’t be completed. (DOMAIN error CODE.)".
  std::string localizedDescription() const;

  // The whole error as one text, such as
  //   Error Domain=com.quillfold Code=1004 "Failed" UserInfo={NSLocalizedDescription=Failed}
  // with (null) for an absent text, and without an empty user info.
  std::string description() const;

 private:
  NSError() = default;
  std::string domain_;
  std::int64_t code_ = 0;
  Dictionary userInfo_;
  ErrorPtr underlyingError_;
};

// Raised by a platform where an operation may not be called as it was: a
// property that was not fetched, a range beyond an array.
class QUILLFOLD_EXPORT NSException : public std::runtime_error {
 public:
  NSException(std::string name, const std::string& reason)
      : std::runtime_error(reason), name_(std::move(name)) {}

  const std::string& name() const { return name_; }
  std::string reason() const { return what(); }

 private:
  std::string name_;
};

inline constexpr const char* NSRangeException = "NSRangeException";
inline constexpr const char* NSInvalidArgumentException = "NSInvalidArgumentException";
inline constexpr const char* CNPropertyNotFetchedExceptionName = "CNPropertyNotFetchedException";

}  // namespace quillfold
