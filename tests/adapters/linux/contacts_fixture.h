// A book in a folder of its own, with everything that a provider needs around it.
#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>

#include "adapters/linux/book/vcard_contacts.h"
#include "adapters/linux/device/linux_platform.h"
#include "tests/support/reported.h"
#include "tests/support/temporary_folder.h"

namespace quillfold {

class HeldQueue : public DispatchQueue {
 public:
  void async(Work work) override { works.push_back(std::move(work)); }
  void run() {
    for (std::vector<Work> now = std::exchange(works, {}); Work & work : now)
      work();
  }
  std::vector<Work> works;
};

class MapDefaults : public NSUserDefaults {
 public:
  std::optional<Value> objectForKey(std::string_view key) override {
    const auto found = values.find(std::string(key));
    const auto value = found == values.end() ? std::nullopt : std::optional(found->second);
    if (meanwhile) std::exchange(meanwhile, nullptr)();
    return value;
  }
  void setObject(Value value, std::string_view key) override { values[std::string(key)] = value; }
  void removeObjectForKey(std::string_view key) override { values.erase(std::string(key)); }
  bool synchronize() override { return true; }
  std::map<std::string, Value> values;
  std::function<void()> meanwhile;
};

class LineLog : public LogSink {
 public:
  void plain(std::string_view line) override {
    const std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  }
  void leveled(LogLevel, std::string_view, std::string_view, std::string_view line) override {
    plain(line);
  }
  std::vector<std::string> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

class ContactsFixture : public testing::Test {
 protected:
  ContactsFixture() {
    static const auto sink = std::make_shared<LineLog>();
    log = sink;
    Platform platform = makeLinuxPlatform({});
    platform.log = sink;
    Platform::install(std::move(platform));
    log->take();
    center->addObserver(this, CNContactStoreDidChangeNotification, [this] {
      const std::lock_guard lock(mutex_);
      ++count_;
      changed_.notify_all();
    });
  }
  ~ContactsFixture() override { center->removeObserver(this); }

  // Whether a notification that was not taken yet comes in time.
  bool notified(std::chrono::milliseconds time = std::chrono::seconds(20)) {
    std::unique_lock lock(mutex_);
    const bool came = changed_.wait_for(lock, time, [this] { return count_ > taken_; });
    taken_ = count_;
    return came;
  }
  // Writes as an editor does that keeps the file's name.
  void write(const std::string& name, const std::string& text) const { folder_.write(name, text); }
  static std::string card(const std::string& uid, const std::string& lines = "") {
    return "BEGIN:VCARD\nVERSION:3.0\nUID:" + uid + "\nN:" + uid + "\n" + lines + "\nEND:VCARD\n";
  }

  VCardContactsOptions options(const std::filesystem::path& path) const {
    return {path, {}, {}, defaults, center, queue};
  }
  // A provider that may read the book.
  std::shared_ptr<LinuxContacts> authorized(const std::filesystem::path& path) const {
    const auto provider = makeVCardContacts(options(path));
    provider->setAuthorizationStatus(CNAuthorizationStatusAuthorized);
    return provider;
  }
  // The identifiers in the store's order.
  static std::vector<std::string> identifiers(CNContactStore& store, ErrorPtr* error = nullptr) {
    std::vector<std::string> all;
    store.enumerateContactsWithFetchRequest(
        {}, error, [&](const CNContact& contact) { all.push_back(contact.identifier()); });
    return all;
  }

  const TemporaryFolder folder_;
  const std::filesystem::path book = folder_.path("book"), root = book.parent_path();
  std::shared_ptr<LineLog> log;
  std::shared_ptr<MapDefaults> defaults = std::make_shared<MapDefaults>();
  std::shared_ptr<NSNotificationCenter> center = std::make_shared<NSNotificationCenter>();
  std::shared_ptr<HeldQueue> queue = std::make_shared<HeldQueue>();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int count_ = 0, taken_ = 0;
};

}  // namespace quillfold
