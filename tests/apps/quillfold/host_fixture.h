// The host program against a backend in the test's own process.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "apps/backend/backend_server.h"
#include "tests/support/child_program.h"
#include "tests/support/temporary_folder.h"

namespace quillfold::testing {

inline constexpr const char* kSyncPath = "/api/v1/client/contacts/sync";

// A record of the bookkeeping file, as an independent reader sees it.
struct FiledRecord {
  std::string contactHash;
  std::string matchString;
};

class HostTest : public ::testing::Test {
 protected:
  explicit HostTest(bool withDemoPeople = false) : backend(options(withDemoPeople)) {}

  struct Outcome {
    int status = 0;
    nlohmann::json output;
  };

  void SetUp() override;

  std::vector<std::string> arguments(std::vector<std::string> words) const;
  // Runs a command to its end with --json and reads the one document.
  Outcome run(std::vector<std::string> words) const;

  // By identifier; those without a hash are left out.
  std::map<std::string, FiledRecord> filedRecords() const;
  void write(const std::string& name, const std::string& card) const {
    folder.write("book/" + name, card);
  }

  // Called with each line of the backend's log, on its threads.
  void setOnRequest(std::function<void(const std::string&)> handler) {
    const std::lock_guard lock(mutex_);
    onRequest_ = std::move(handler);
  }

  TemporaryFolder folder;

 private:
  backend::BackendOptions options(bool withDemoPeople) {
    backend::BackendOptions out;
    out.demo = withDemoPeople;
    out.log = [this](const std::string& line) {
      const std::lock_guard lock(mutex_);
      if (onRequest_) onRequest_(line);
    };
    return out;
  }

  std::mutex mutex_;
  std::function<void(const std::string&)> onRequest_;

 protected:
  backend::BackendServer backend;
};

// The digest as OpenSSL computes it.
std::string independentSHA256(const std::string& text);

// A card with that identifier, name and number.
std::string card(const std::string& uid, const std::string& name, const std::string& number);

}  // namespace quillfold::testing
