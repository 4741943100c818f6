// Errors and the shared reading of a failed answer.
#include "api/api_error.h"
#include "tests/api/api_fixture.h"

namespace quillfold::testing {
namespace {

using ErrorResponseTest = ApiTest;

TEST_F(ErrorResponseTest, EveryFormOfFailure) {
  struct Row {
    std::int64_t status;
    std::string body;
    Value message;    // Under "message" in the user info.
    std::string log;  // Empty for none.
  };
  const std::string data = "Error with data: {detail: [1]}";
  const Row rows[] = {
      {400, R"({"message":42,"detail":"x"})", 42, "⚠️ Server error (400): 42"},
      {400, R"({"message":null,"detail":"x"})", nullptr, "⚠️ Server error (400): <null>"},
      {400, R"({"error":"e","detail":"d"})", "d", "⚠️ Server error (400): d"},
      {401, R"({"detail":[1],"errorMessage":"m","error_message":"e","error":5})", "e",
       "⚠️ Server error (401): e"},
      {418, R"({"errorMessage":"tea"})", "tea", "⚠️ Server error (418): tea"},
      {422, R"({"detail":[1]})", data, "⚠️ Server error (422) with JSON: {detail: [1]}"},
      {400, "[1]", "Raw response: [1]", "⚠️ Server error (400): Raw response: [1]"},
      {502, "<p>ü", "Raw response: <p>ü", "⚠️ Server error (502): Raw response: <p>ü"},
      {408, "", "Request timed out", ""},
      {503, "", "Server error", ""},
      {599, "\xc3", "Server error", ""},
      {600, "", "Unknown server error (Code: 600)", ""},
      {404, "\xff", "Unknown server error (Code: 404)", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.body + std::to_string(row.status));
    platform.log->clear();
    const ErrorPtr error = QFAPIClient::handleErrorResponseWithData(row.body, row.status);
    const std::string text =
        "Server error " + std::to_string(row.status) + ": " + row.message.description();
    EXPECT_EQ(error->domain(), "com.quillfold.api");
    EXPECT_EQ(error->code(), 3);
    EXPECT_EQ(error->userInfo(), (Dictionary{{NSLocalizedDescriptionKey, text},
                                             {"statusCode", row.status},
                                             {"message", row.message}}));
    EXPECT_EQ(platform.log->lines(), std::vector(row.log.empty() ? 0u : 1u, row.log));
  }
  EXPECT_EQ(QFAPIClient::handleErrorResponseWithData("", 401)->code(), 5);
  EXPECT_EQ(QFAPIClient::handleErrorResponseWithData("\xff", 403)->code(), 6);
}

TEST_F(ErrorResponseTest, TextsOfTheFactories) {
  EXPECT_EQ(QFAPIError::errorWithCode(3, "Boom")->localizedDescription(), "Boom");
  EXPECT_EQ(description(QFAPIError::errorWithCode(3)->userInfo()),
            R"({NSLocalizedDescription: "Server error"})");
  const ErrorPtr bare = QFAPIError::serverErrorWithStatusCode(500, std::nullopt);
  EXPECT_EQ(description(bare->userInfo()),
            R"({NSLocalizedDescription: "Server error 500", message: "", statusCode: 500})");
  EXPECT_EQ(QFAPIError::networkErrorWithUnderlyingError(bare)->underlyingError(), bare);
  const auto lookUp = &QFAPIError::localizedDescriptionForErrorCode;
  EXPECT_EQ(lookUp(3, std::nullopt, "m"), "Server error");
  EXPECT_EQ(lookUp(4, 404, std::nullopt), "Network error");
  EXPECT_EQ(lookUp(10, 404, "m"), "Validation failed: m");
  EXPECT_EQ(lookUp(-1, 404, "m"), lookUp(7, 404, "m"));
}

}  // namespace
}  // namespace quillfold::testing
