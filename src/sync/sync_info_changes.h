// Which records of a dictionary have changed, told to those that keep something
// derived from them.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

namespace quillfold {

// The changes since a reader last looked. One reader takes from it.
class SyncInfoFeed {
 public:
  struct Changes {
    // Nothing is known of the records: read them all.
    bool everything = false;
    // Keys under which a record was added, removed, replaced or changed.
    std::unordered_set<std::string> keys;
  };

  // The changes so far, and forgets them. A change that comes while the reader
  // reads is in the next ones.
  Changes take();

 private:
  friend class SyncInfoChanges;
  void note(const std::string& key);
  void noteEverything();

  std::mutex mutex_;
  Changes changes_{true, {}};
};

// Passes the changes of one dictionary on to its feeds. Any thread.
class SyncInfoChanges {
 public:
  // A feed that begins with everything.
  std::shared_ptr<SyncInfoFeed> openFeed();
  void note(const std::string& key);
  void noteEverything();

 private:
  std::mutex mutex_;
  std::vector<std::weak_ptr<SyncInfoFeed>> feeds_;
};

}  // namespace quillfold
