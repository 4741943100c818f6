#include "sync/sync_info_archive.h"

#include <deque>

#include "foundation/archive/keyed_archive.h"
#include "foundation/archive/keyed_encoder.h"
#include "platform/platform.h"
#include "sync/sync_info_changes.h"

namespace quillfold {

namespace {

// Learns the names and types of a record's keys from one that is encoded.
class SchemaCollector : public KeyedEncoder {
 public:
  std::vector<RecordArchive::Field> fields;

  void encodeString(const OptionalString&, std::string_view key) override {
    add(key, RecordArchive::FieldType::string);
  }
  void encodeBool(bool, std::string_view key) override {
    add(key, RecordArchive::FieldType::boolean);
  }
  void encodeDouble(double, std::string_view key) override {
    add(key, RecordArchive::FieldType::real);
  }

 private:
  void add(std::string_view key, RecordArchive::FieldType type) {
    fields.push_back({std::string(key), type});
  }
};

// Takes the values of a record's keys, in their order.
class ValueCollector : public KeyedEncoder {
 public:
  const std::vector<RecordArchive::FieldValue>& values() const { return values_; }

  void encodeString(const OptionalString& value, std::string_view) override {
    if (value) {
      values_.emplace_back(std::string_view(texts_.emplace_back(*value)));
    } else {
      values_.emplace_back(std::monostate());
    }
  }
  void encodeBool(bool value, std::string_view) override { values_.emplace_back(value); }
  void encodeDouble(double value, std::string_view) override { values_.emplace_back(value); }

 private:
  std::deque<std::string> texts_;
  std::vector<RecordArchive::FieldValue> values_;
};

std::vector<RecordArchive::Field> schema() {
  SchemaCollector collector;
  QFContactSyncInfo::initWithContactId("")->encodeWithCoder(collector);
  return std::move(collector.fields);
}

}  // namespace

SyncInfoArchive::SyncInfoArchive() : archive_(QFContactSyncInfo::kClassName, schema()) {}

ErrorPtr SyncInfoArchive::encode(const std::string& key, const QFContactSyncInfo& record) {
  ValueCollector collector;
  record.encodeWithCoder(collector);
  return archive_.set(key, collector.values());
}

// Brings the encoded records up to what the dictionary holds now.
ErrorPtr SyncInfoArchive::follow(const std::shared_ptr<SyncInfoDictionary>& dictionary) {
  if (followed_.lock() != dictionary) {
    followed_ = dictionary;
    feed_ = dictionary->openFeed();
  }
  const SyncInfoFeed::Changes changes = feed_->take();
  ErrorPtr failure;
  if (changes.everything) {
    archive_.clear();
    for (const auto& [key, record] : dictionary->entries()) {
      if (const ErrorPtr error = encode(key, *record)) failure = error;
    }
  }
  for (const std::string& key : changes.keys) {
    const QFContactSyncInfoPtr record = dictionary->objectForKey(key);
    if (!record) {
      archive_.remove(key);
    } else if (const ErrorPtr error = encode(key, *record)) {
      failure = error;
    }
  }
  // A record that could not be encoded is tried again at the next save.
  if (failure) feed_ = dictionary->openFeed();
  return failure;
}

ErrorPtr SyncInfoArchive::save(const std::shared_ptr<SyncInfoDictionary>& dictionary,
                               const std::string& path) {
  const std::lock_guard lock(mutex_);
  if (const ErrorPtr error = follow(dictionary)) return error;
  return Platform::current().files->reviseFileAtPath(path, archive_.contents());
}

std::optional<SyncInfoDictionary::Entries> SyncInfoArchive::load(std::string_view bytes,
                                                                 ErrorPtr* error) {
  if (ErrorPtr damage = RecordArchive::damageOf(bytes)) {
    *error = std::move(damage);
    return std::nullopt;
  }
  SyncInfoDictionary::Entries entries;
  const auto root = KeyedUnarchiver::readRecordDictionary(
      bytes, QFContactSyncInfo::kClassName,
      [&entries](const std::string& key, KeyedDecoder& coder) {
        entries.emplace_back(key, QFContactSyncInfo::initWithCoder(coder));
      },
      error);
  if (root != ArchivedKind::dictionary) return std::nullopt;
  return entries;
}

bool SyncInfoArchive::restore(const std::string& path) {
  const std::lock_guard lock(mutex_);
  return Platform::current().files->restoreFileAtPath(path, [](std::string_view bytes) {
    ErrorPtr error;
    load(bytes, &error);
    return error == nullptr;
  });
}

}  // namespace quillfold
