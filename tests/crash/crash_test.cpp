// Hosts that are killed at random moments of first syncs, changes, clears and user changes.
#include <gtest/gtest.h>
#include <quillfold/quillfold.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <random>

#include "apps/backend/backend_server.h"
#include "apps/backend/store/database.h"
#include "foundation/archive/binary_plist.h"
#include "foundation/format.h"
#include "sync/sync_info_archive.h"
#include "tests/support/archived_records.h"
#include "tests/support/child_program.h"
#include "tests/support/temporary_folder.h"

namespace quillfold::testing {
namespace {

using Names = std::set<std::string>;

Names without(Names a, const Names& b) {
  std::erase_if(a, [&](const std::string& name) { return b.contains(name); });
  return a;
}

// A contact goes by its name, which tells the version of its card.
class Crash : public ::testing::Test {
 protected:
  static constexpr std::size_t kCards = 40, kBatch = 2;

  // A home without anything, for two users that the backend has not seen.
  void begin() {
    std::filesystem::remove_all(folder_.path("home"));
    ++homes_;
    users_ = {fmt::format("ann{}", homes_), fmt::format("bob{}", homes_)};
    sources_.clear();
  }
  void changeCards(std::size_t count) {
    for (; count > 0; --count) {
      const std::size_t card = below(kCards);
      const std::string name = fmt::format("c{:02} v{}", card, ++versions_);
      std::erase_if(book_, [&](const auto& old) { return old.starts_with(name.substr(0, 4)); });
      book_.insert(name);
      folder_.write(fmt::format("book/{}.vcf", card),
                    fmt::format("BEGIN:VCARD\r\nVERSION:3.0\r\nUID:c{0}\r\nN:;{1};;;\r\n"
                                "FN:{1}\r\nEND:VCARD\r\n",
                                card, name));
    }
  }
  std::size_t below(std::size_t bound) { return random_() % bound; }

  // Absent for a file that is not there or refused.
  std::optional<Names> namesIn(const std::string& path) {
    ErrorPtr error;
    const std::string bytes = folder_.read(path);
    const auto entries = SyncInfoArchive::load(bytes, &error);
    if (!entries) return std::nullopt;
    EXPECT_EQ(recordsOf(*entries), readByLibplist(bytes, "QFContactSyncInfo"));
    Names out;
    for (const auto& [id, record] : *entries) {
      if (record->contactHash()) out.insert(*record->displayNameForSort());
    }
    return out;
  }
  std::filesystem::path bookkeeping(const std::string& user) {
    NSUserDefaults::standardUserDefaults().synchronize();
    return Account::bookkeepingPath(user);
  }
  // What counts as sent: by the file, or if that is spoilt by its first spare that is whole.
  Names recorded(const std::string& user, bool spoilt = false) {
    const auto path = bookkeeping(user);
    std::optional<Names> restored;
    for (const char* spare : {".spare", ".spare1"}) {
      const auto names = namesIn(path.parent_path() / ("." + path.filename().string() + spare));
      EXPECT_EQ(without(names.value_or(Names()), everSent_[user]), Names()) << spare;
      if (!restored) restored = names;
    }
    if (auto names = namesIn(path)) return *names;
    EXPECT_TRUE(spoilt || !exists(path)) << path;
    if (!restored || !spoilt) return {};
    ++restored_;
    return *restored;
  }
  // In the last run, always under the one source that the user has here.
  Names sent(const std::string& user) {
    Names out;
    for (const auto& contact : backend_->contacts(user)) {
      out.insert(contact["display_name"]);
      EXPECT_EQ(sources_.try_emplace(user, contact["source_id"]).first->second,
                contact["source_id"]);
    }
    return out;
  }
  // Returns whether the host was killed; it ends well otherwise.
  bool run(std::size_t microseconds, std::vector<std::string> words) {
    backend::BackendOptions options;
    options.database = folder_.path("database");
    if (backend_) backend::Database(options.database).prepare("DELETE FROM contacts").run();
    backend_.emplace(options).start();
    words.insert(words.begin(), {folder_.path("home"), folder_.path("book"), backend_->url(),
                                 std::to_string(microseconds)});
    const int status = ChildProgram(HOST_PROGRAM, words).exitStatus();
    backend_->stop();
    for (const std::string& user : users_)
      everSent_[user].merge(sent(user));
    const std::string defaults = "home/quillfold/defaults.plist";
    EXPECT_TRUE(!std::filesystem::exists(folder_.path(defaults)) ||
                NSPropertyListSerialization::propertyListWithData(folder_.read(defaults)));
    EXPECT_FALSE(std::filesystem::exists(folder_.path(defaults + ".unreadable-1")));
    EXPECT_TRUE(status == 0 || status == -SIGKILL) << status;
    return status != 0;
  }

  void killOnce();
  void sendTheRest();

  TemporaryFolder folder_;
  Linux device_{.home = folder_.path("home")};
  std::optional<backend::BackendServer> backend_;
  std::mt19937 random_{7};
  std::size_t span_ = 100000, homes_ = 0, versions_ = 0, restored_ = 0, partly_ = 0;
  Names book_;
  std::vector<std::string> users_;
  std::map<std::string, std::string> sources_;
  std::map<std::string, Names> everSent_;
};

void Crash::killOnce() {
  std::map<std::string, Names> before;
  std::vector<std::string> words;
  do {
    if (below(2) == 0) changeCards(below(30));
    words.clear();
    for (std::size_t i = below(3) + 1; i > 0; --i)
      words.push_back(users_[below(2)] + (below(6) == 0 ? "!" : ""));
    for (const std::string& user : users_)
      before[user] = recorded(user);
    // About as long as a host takes: most are killed.
    span_ = span_ * 9 / 10;
  } while (!run(1 + below(span_), words));
  span_ = span_ * 9 / 8;
  for (const std::string& user : users_) {
    const Names went = sent(user), now = recorded(user);
    EXPECT_EQ(without(without(now, went), before[user]), Names());
    partly_ += without(went, now) != went && !without(book_, now).empty() ? 1 : 0;
    if (std::count(words.begin(), words.end(), user + "!") > 0) continue;
    EXPECT_EQ(without(went, before[user]), went);
    // Of what is recorded only what has changed since makes room.
    for (const std::string& name : without(before[user], now))
      EXPECT_FALSE(book_.contains(name)) << name;
    EXPECT_LE(without(went, now).size(), kBatch);
  }
}

void Crash::sendTheRest() {
  std::map<std::string, Names> before;
  for (const std::string& user : users_) {
    const auto path = bookkeeping(user);
    const bool spoilt = below(4) == 0 && exists(path);
    if (spoilt) std::filesystem::resize_file(path, file_size(path) / 2);
    before[user] = recorded(user, spoilt);
  }
  ASSERT_FALSE(run(0, users_));
  for (const std::string& user : users_) {
    EXPECT_EQ(sent(user), without(book_, before[user]));
    EXPECT_EQ(recorded(user), book_);
  }
}

TEST_F(Crash, NothingThatIsRecordedGoesUpAgainAndTheRestDoes) {
  const int kills = std::stoi(std::getenv("QUILLFOLD_KILLS"));
  changeCards(400);
  for (int kill = 0; kill < kills && !HasFailure(); ++kill) {
    if (kill % 10 == 0) begin();
    SCOPED_TRACE(kill);
    killOnce();
    if (below(2) == 0) sendTheRest();
  }
  fmt::print("{} kills: {} with something recorded and more to come, {} files restored\n", kills,
             partly_, restored_);
  EXPECT_GE(std::min(partly_, restored_), static_cast<std::size_t>(kills) / 20);
}

}  // namespace
}  // namespace quillfold::testing
