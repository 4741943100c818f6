// What the tests of the client share.
#pragma once

#include <gtest/gtest.h>

#include "api/api_client.h"
#include "core/defaults_keys.h"
#include "foundation/json.h"
#include "testing/fake_platform.h"

namespace quillfold::testing {

inline constexpr const char* kTokenPath = "/api/v1/client/generate-token";
inline constexpr const char* kUserPath = "/api/v1/client/user-info";
inline constexpr const char* kSourcePath = "/api/v1/client/contact-source";
inline constexpr const char* kSyncPath = "/api/v1/client/contacts/sync";
inline constexpr const char* kUnreadable = "2 Error decoding the server response";

// What a completion was given, where and how often.
template <typename Result>
struct Outcome {
  Result result{};
  ErrorPtr error;
  Place place = Place::Caller;
  int calls = 0;

  auto capture() {
    return [this](Result given, ErrorPtr failure) {
      *this = {std::move(given), std::move(failure), FakePlatform::place(), calls + 1};
    };
  }
  // Code and text of the error, or "ok".
  std::string end() const {
    return error ? std::to_string(error->code()) + " " + error->localizedDescription() : "ok";
  }
};

inline Value json(std::string_view text) {
  return NSJSONSerialization::JSONObjectWithData(text).value_or(nullptr);
}
// Compares as text: 1 is 1.0, and a difference can be read.
inline void expectObject(const Value& value, const std::string& text) {
  EXPECT_EQ(value.description(), json(text).description());
}

class ApiTest : public ::testing::Test {
 protected:
  ApiTest() {
    ::setenv("TZ", "Asia/Tokyo", 1);
    platform.defaults->setObject("stored-user", defaults_keys::kUserId);
    platform.defaults->setObject("D", defaults_keys::kDeviceIdentifier);
    client = QFAPIClient::initWithUserId("U");
    platform.serveBackend([this](FakeTask& task) {
      const auto it = answers.find(task.path().substr(0, task.path().find('?')));
      if (it == answers.end()) return false;
      if (it->second.first != 0) task.answer(it->second.first, it->second.second);
      return true;
    });
  }

  // The end of a call of the client that takes the completion last.
  template <typename Result, typename Call>
  Outcome<Result> run(Call call) {
    Outcome<Result> outcome;
    call(outcome.capture());
    platform.settle();
    EXPECT_EQ(outcome.calls, 1);
    return outcome;
  }

  FakePlatform platform;
  // Status (0 for none yet) and body by path; the healthy backend serves the others.
  std::map<std::string, std::pair<std::int64_t, std::string>> answers;
  std::shared_ptr<QFAPIClient> client;
};

}  // namespace quillfold::testing
