// Accounts on this device at a backend in the test's own process.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quillfold/quillfold.h>

#include <algorithm>
#include <optional>

#include "apps/backend/backend_server.h"
#include "foundation/format.h"
#include "tests/account/told.h"
#include "tests/support/temporary_folder.h"

namespace quillfold::testing {

inline constexpr const char* kSyncPath = "/api/v1/client/contacts/sync";

class BackendTest : public ::testing::Test {
 protected:
  BackendTest() {
    backend.start();
    addCard("base");
  }

  // The device of this process; once.
  void bringUp(std::shared_ptr<MainQueue> mainQueue = nullptr) {
    device.emplace(Linux{.home = folder.path("home"),
                         .addressBook = folder.path("book"),
                         .backend = backend.url(),
                         .logLevel = LogLevel::Error,
                         .mainQueue = std::move(mainQueue)});
  }
  static AccountConfiguration configured(const std::string& user = "ann") {
    return {.apiKey = "key",
            .token = "token",
            .user = {.id = user, .email = user + "@example.com"},
            .batchSize = 1};
  }
  void addCard(const std::string& name) const {
    folder.write("book/" + name + ".vcf",
                 fmt::format("BEGIN:VCARD\r\nVERSION:3.0\r\nUID:{0}\r\nN:;{0};;;\r\nFN:{0}\r\n"
                             "TEL:+1 212 555 01{1:02}\r\nEND:VCARD\r\n",
                             name, folder.read("book/" + name).size()));
  }
  // One for each contact, at this batch size.
  std::size_t uploads() const {
    const auto all = backend.requests();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [](const auto& request) { return request.path == kSyncPath; }));
  }
  template <typename Work>
  static std::string failureOf(const Work& work) {
    try {
      work();
      return "";
    } catch (const Failure& failure) {
      return told(failure);
    }
  }

  TemporaryFolder folder;
  backend::BackendServer backend;
  std::optional<Linux> device;
};

}  // namespace quillfold::testing
