// Errors of talking to the backend.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/optional_string.h"

namespace quillfold {

inline constexpr const char* QFAPIErrorDomain = "com.quillfold.api";
inline constexpr const char* QFContactSourceErrorDomain = "com.quillfold.contactsource";
inline constexpr const char* QFSyncErrorDomain = "com.quillfold.sync";

enum QFAPIErrorCode : std::int64_t {
  QFAPIErrorCodeInvalidURL = 0,
  QFAPIErrorCodeNoData = 1,
  QFAPIErrorCodeDecoding = 2,
  QFAPIErrorCodeServer = 3,
  QFAPIErrorCodeNetwork = 4,
  QFAPIErrorCodeUnauthorized = 5,
  QFAPIErrorCodeTokenExpired = 6,
  QFAPIErrorCodeUnknown = 7,
  QFAPIErrorCodeInvalidResponse = 8,
  QFAPIErrorCodeInvalidAPIKey = 9,
  QFAPIErrorCodeValidationFailed = 10,
};

// Makes errors in QFAPIErrorDomain. Pure; any thread.
class QUILLFOLD_EXPORT QFAPIError {
 public:
  static ErrorPtr errorWithCode(std::int64_t code);
  // With the message itself as the text, or the text of the code without one.
  static ErrorPtr errorWithCode(std::int64_t code, const OptionalString& message);

  static ErrorPtr invalidURLError();
  static ErrorPtr noDataError();
  static ErrorPtr decodingError();
  static ErrorPtr unauthorizedError();
  static ErrorPtr tokenExpiredError();
  static ErrorPtr unknownError();

  // Code 3, whatever the status, which stands under "statusCode" in the user
  // info. The message stands under "message" as it is, of whatever type the
  // server sent it; "" where it is absent.
  static ErrorPtr serverErrorWithStatusCode(std::int64_t statusCode,
                                            const std::optional<Value>& message);
  // Code 4, with the failure of the transport underneath.
  static ErrorPtr networkErrorWithUnderlyingError(const ErrorPtr& underlyingError);

  // The text of a code; "An unknown error occurred" for an unknown one.
  static std::string localizedDescriptionForErrorCode(std::int64_t code,
                                                      std::optional<std::int64_t> statusCode,
                                                      const OptionalString& message);
};

}  // namespace quillfold
