// The facade on a fake platform, as most tests of the library need it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "facade/contact_service.h"
#include "foundation/format.h"
#include "testing/fake_platform.h"

namespace quillfold::testing {

inline constexpr const char* kRegistrationPath = "/api/v1/client/contact-source";
inline constexpr const char* kUploadPath = "/api/v1/client/contacts/sync";

// "DOMAIN CODE: TEXT", or "" for no error.
inline std::string told(const ErrorPtr& error) {
  if (!error) return "";
  return fmt::format("{} {}: {}", error->domain(), error->code(), error->localizedDescription());
}

// Identifiers of contacts, one behind the other, or a count.
inline std::string told(std::int64_t count) {
  return std::to_string(count);
}
inline std::string told(const QFContactPtr& contact) {
  return contact->identifier();
}
inline std::string told(const std::optional<QFContactList>& contacts) {
  std::string out;
  for (const auto& contact : *contacts)
    out += contact->identifier();
  return out;
}

// How often a completion was called, with what and where.
template <typename Result>
struct Recorded {
  int calls = 0;
  Result result{};
  ErrorPtr failure;
  std::string error;
  Place place = Place::Caller;

  auto completion() {
    return [this](Result value, const ErrorPtr& given) {
      ++calls;
      result = std::move(value);
      failure = given;
      error = told(given);
      place = FakePlatform::place();
    };
  }
};

// A part of a completion that notices copies of it: what a completion holds is let go
// where it ran only if there is none.
struct Copied {
  explicit Copied(int& counter) : times(counter) {}
  Copied(const Copied& other) : times(++other.times) {}
  Copied(Copied&&) = default;
  int& times;
};

class ServiceTest : public ::testing::Test {
 protected:
  ServiceTest() { platform.serveBackend(); }

  static QFUserInfoPtr user(const std::string& id = "u1") {
    return QFUserInfo::initWithUserId(id, {}, "a@example.com", {});
  }

  // Adds people and initialises without a first sync: the permission comes later.
  void makeReady(int people = 0) {
    for (int i = 0; i < people; ++i) {
      platform.contacts->add(
          MemoryContacts::person(fmt::format("id{:02}", i), fmt::format("Name{:02}", i)));
    }
    const auto status = std::exchange(platform.contacts->status, CNAuthorizationStatusDenied);
    service->initializeWithAPIKey("KEY", "TOKEN", user(), nullptr, nullptr);
    platform.settle();
    platform.contacts->status = status;
    ASSERT_TRUE(service->isInitialized());
  }

  // The identifiers of each upload.
  using Uploads = std::vector<std::vector<std::string>>;
  Uploads uploads() const {
    Uploads out;
    for (const auto& task : platform.sessions->tasks) {
      if (task->path() != kUploadPath) continue;
      auto& batch = out.emplace_back();
      const Value body = task->json();
      EXPECT_EQ(*find(*body.asDictionary(), "skip_duplicates"), Value(true));
      for (const Value& contact : *find(*body.asDictionary(), "contacts")->asArray()) {
        batch.push_back(*stringForKey(*contact.asDictionary(), "id"));
      }
    }
    return out;
  }

  // Lets the nth request to the path end in something else.
  void interrupt(const char* path, std::size_t nth, std::function<void(FakeTask&)> with) {
    platform.serveBackend([this, path, nth, with = std::move(with)](FakeTask& task) {
      const bool mine = task.path() == path && platform.sessions->count(path) == nth;
      if (mine) with(task);
      return mine;
    });
  }
  std::string uploadSizes() const {
    std::string out;
    for (const auto& batch : uploads())
      out += std::to_string(batch.size()) + ' ';
    return out;
  }

  std::string stored(const char* key) {
    return platform.defaults->stringForKey(key).value_or("(none)");
  }
  void post(const char* notification) {
    platform.notifications->postNotificationName(notification);
    platform.settle();
  }
  static QFContactPtr contact(const std::string& id, const std::string& name) {
    const auto out = QFContact::initWithIdentifier(id);
    out->setDisplayName(name);
    out->setMatchString(name);
    return out;
  }

  bool logged(const std::string& line) const { return platform.log->contains(line); }
  bool info(const std::string& text) const { return logged("info ContactService: " + text); }
  bool error(const std::string& text) const { return logged("error ContactService: " + text); }

  FakePlatform platform;
  std::shared_ptr<QFContactService> service = QFContactService::sharedInstance();
};

}  // namespace quillfold::testing
