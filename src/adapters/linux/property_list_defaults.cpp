#include "adapters/linux/property_list_defaults.h"

#include <map>
#include <mutex>
#include <utility>

#include "adapters/linux/defaults_file.h"
#include "foundation/archive/binary_plist.h"
#include "platform/log_line.h"

namespace quillfold {

namespace {

class PropertyListDefaults : public NSUserDefaults {
  // The lines are logged once the lock is let go: the sink is the host's.
  template <typename Operation>
  auto locked(Operation operation) {
    std::unique_lock lock(mutex_);
    auto result = operation();
    const std::vector<std::string> lines = file_.takeLog();
    lock.unlock();
    for (const std::string& line : lines)
      NSLog(line);
    return result;
  }

 public:
  PropertyListDefaults(std::string path, std::shared_ptr<FileManager> files)
      : file_(std::move(path), std::move(files)) {}

  std::optional<Value> objectForKey(std::string_view key) override {
    return locked([&]() -> std::optional<Value> {
      if (const auto it = unwritten_.find(key); it != unwritten_.end()) return it->second;
      if (!loaded_) loaded_ = file_.load();
      const Value* value = find(file_.values(), key);
      return value == nullptr ? std::nullopt : std::optional(*value);
    });
  }

  void setObject(Value value, std::string_view key) override {
    const Value entry(Dictionary{{std::string(key), value}});
    ErrorPtr error;
    if (!NSPropertyListSerialization::dataWithPropertyList(entry, &error)) {
      logLine("Refused user default {}: {}", key, error->localizedDescription());
      return;
    }
    change(key, std::move(value));
  }

  void removeObjectForKey(std::string_view key) override { change(key, std::nullopt); }

  bool synchronize() override { return synchronizeOrFail() == nullptr; }

  ErrorPtr synchronizeOrFail() override {
    return locked([&]() -> ErrorPtr {
      if (writeChanges() && file_.flush()) return nullptr;
      return NSError::errorWithDomain("NSCocoaErrorDomain", NSFileWriteUnknownError,
                                      {{NSLocalizedDescriptionKey, file_.lastLine()}});
    });
  }

 private:
  void change(std::string_view key, std::optional<Value> value) {
    locked([&] {
      unwritten_.insert_or_assign(std::string(key), std::move(value));
      return writeChanges();
    });
  }

  bool writeChanges() {
    const bool written = file_.update([this](Dictionary& values) {
      for (const auto& [key, value] : unwritten_) {
        if (value) {
          values.insert_or_assign(key, *value);
        } else {
          values.erase(key);
        }
      }
    });
    if (!written) return false;
    loaded_ = true;
    unwritten_.clear();
    return true;
  }

  std::mutex mutex_;
  DefaultsFile file_;
  bool loaded_ = false;
  // What was set or, where there is no value, removed and is not in the file yet.
  std::map<std::string, std::optional<Value>, std::less<>> unwritten_;
};

}  // namespace

std::shared_ptr<NSUserDefaults> makePropertyListDefaults(std::string path,
                                                         std::shared_ptr<FileManager> files) {
  return std::make_shared<PropertyListDefaults>(std::move(path), std::move(files));
}

}  // namespace quillfold
