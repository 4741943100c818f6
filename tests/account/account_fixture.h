// An account on a fake platform, at a backend whose tokens and sources name their user.
#pragma once

#include <algorithm>
#include <array>
#include <random>
#include <set>

#include "account/account.h"
#include "api/api_client.h"
#include "core/defaults_keys.h"
#include "sync/contact_sync_info.h"
#include "tests/account/told.h"
#include "tests/support/service_test.h"

namespace quillfold::testing {

inline constexpr const char* kTokenPath = "/api/v1/client/generate-token";

class AccountTest : public ServiceTest {
 protected:
  AccountTest() {
    platform.serveBackend(
        [this](FakeTask& task) { return (overrides && overrides(task)) || answerForUser(task); });
  }

  static AccountConfiguration configured(const std::string& user = "ann") {
    return {.apiKey = "KEY", .token = "TOKEN", .user = {.id = user, .email = user + "@x.de"}};
  }
  void addPeople(int count) {
    for (int i = 0; i < count; ++i) {
      platform.contacts->add(
          MemoryContacts::person(fmt::format("id{:03}", i), fmt::format("Name{:03}", i)));
    }
  }

  // One piece of whatever is to be done, in an order of chance.
  bool step() {
    std::array queues{platform.mainQueue, platform.globalQueue, platform.sessionQueue,
                      std::shared_ptr<PumpedQueue>()};
    std::shuffle(queues.begin(), queues.end(), random);
    return std::any_of(queues.begin(), queues.end(), [this](const auto& queue) {
      return queue ? queue->runOne() : platform.sessions->offer();
    });
  }
  // The end of an operation, as soon as it is there.
  template <typename T>
  Result<T> end(const Operation<T>& operation) {
    while (!operation.isDone() && step()) {
    }
    EXPECT_TRUE(operation.isDone());
    try {
      if constexpr (std::is_void_v<T>) {
        operation.get();
        return std::monostate();
      } else {
        return operation.get();
      }
    } catch (const Failure& failure) {
      return failure;
    }
  }
  template <typename T>
  std::string failureOf(const Operation<T>& operation) {
    const Result<T> result = end(operation);
    return result ? "" : told(result.failure());
  }
  Account opened(const std::string& user = "ann") { return *end(Account::open(configured(user))); }
  // With no sync under way.
  Account openedAtRest(const std::string& user = "ann") {
    const auto account = opened(user);
    platform.settle();
    return account;
  }
  // The contacts that count as uploaded.
  std::set<std::string> recorded() {
    std::set<std::string> out;
    for (const auto& record : service->allSyncInfo()) {
      if (record->contactHash()) out.insert(*record->contactId());
    }
    return out;
  }

  static bool answered(FakeTask& task, const std::string& body, std::int64_t status = 200) {
    task.answer(status, body);
    return true;
  }
  // What becomes of requests whose path ends so; returns whether it is answered, or left so.
  void at(std::string_view path, std::function<bool(FakeTask& task)> with) {
    overrides = [path, with = std::move(with)](FakeTask& task) {
      return task.path().ends_with(path) && with(task);
    };
  }

  std::mt19937 random{1};
  // Asked first; true for a request that is answered, or left unanswered.
  std::function<bool(FakeTask& task)> overrides;

 private:
  // What the body of a request has under the key.
  static std::string said(const FakeTask& task, const char* key) {
    const Value body = task.json();
    return *stringForKey(*body.asDictionary(), key);
  }
  bool answerForUser(FakeTask& task) {
    if (task.path() == kTokenPath) {
      return answered(task, fmt::format(R"({{"data":{{"token":"{}","expires_at":{}}}}})",
                                        said(task, "user_id"), platform.clock->seconds + 3600));
    }
    if (task.path() == kRegistrationPath) {
      return answered(task, fmt::format(R"({{"data":{{"id":"SRC-{}","source_type":"device"}}}})",
                                        said(task, "organization_user_id")));
    }
    return task.path().starts_with("/api/v1/social/") && answered(task, R"({"total":7})");
  }
};

}  // namespace quillfold::testing
