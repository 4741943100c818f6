// What the tests of the social service and of the recommendations share.
#pragma once

#include <gmock/gmock.h>

#include "facade/contact_service.h"
#include "foundation/format.h"
#include "foundation/json.h"
#include "testing/fake_platform.h"

namespace quillfold::testing {

inline Value json(std::string_view text) {
  return NSJSONSerialization::JSONObjectWithData(text).value_or(nullptr);
}
inline Dictionary object(std::string_view text) {
  return *json(text).asDictionary();
}
// Compared as text: 1 is 1.0, and a difference can be read.
inline void expectObject(const Dictionary& dictionary, std::string_view text) {
  EXPECT_EQ(description(dictionary), json(text).description());
}

// A ready facade, and a backend that gives every further request the same answer.
class SocialTest : public ::testing::Test {
 protected:
  SocialTest() {
    platform.serveBackend([this](FakeTask& task) {
      if (status != 0) task.answer(status, body);
      return status != 0;
    });
    facade->initializeWithAPIKey(
        "KEY", "TOKEN", QFUserInfo::initWithUserId("u1", {}, "a@example.com", {}), nullptr, {});
    platform.settle();
    platform.log->clear();
  }

  // The end of a call with that answer: what the completion was given, as `show`
  // has it or as the error. "nothing" if both arguments were absent.
  template <typename Result, typename Call, typename Show>
  std::string end(std::int64_t answerStatus, std::string answerBody, Call call, Show show) {
    status = answerStatus;
    body = std::move(answerBody);
    std::vector<std::string> ends;
    call([&](const Result& result, const ErrorPtr& error) {
      EXPECT_EQ(FakePlatform::place(), Place::MainQueue);
      EXPECT_FALSE(result && error);
      ends.push_back(result ? show(result) : "nothing");
      if (error)
        ends.back() =
            fmt::format("{} {} {}", error->domain(), error->code(), error->localizedDescription());
    });
    EXPECT_TRUE(ends.empty());
    platform.settle();
    return fmt::format("{}", fmt::join(ends, " and "));
  }

  void addContact(const std::string& identifier, std::size_t phones = 1, std::size_t emails = 0) {
    auto person = MemoryContacts::person(identifier, "N");
    person.phoneNumbers.assign(phones, {std::nullopt, {"030 123"}});
    person.emailAddresses.assign(emails, {std::nullopt, "a@example.com"});
    platform.contacts->add(std::move(person));
  }

  FakePlatform platform;
  std::int64_t status = 0;
  std::string body;
  const std::shared_ptr<QFContactService> facade = QFContactService::sharedInstance();
};

}  // namespace quillfold::testing
