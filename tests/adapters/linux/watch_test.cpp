#include <sched.h>
#include <sys/mount.h>

#include <atomic>
#include <ctime>
#include <future>

#include "adapters/linux/book/book_watcher.h"
#include "adapters/linux/book/folder_events.h"
#include "tests/adapters/linux/contacts_fixture.h"

namespace quillfold {
namespace {

using std::chrono::milliseconds;
namespace fs = std::filesystem;

using Watch = ContactsFixture;

TEST_F(Watch, NoticesEveryKindOfChange) {
  const auto provider = authorized(book);
  auto store = provider->makeStore();
  const auto after = [&](const char* what, const std::function<void()>& change) {
    change();
    EXPECT_TRUE(notified()) << what;
    return identifiers(*store);
  };
  using Ids = std::vector<std::string>;
  EXPECT_EQ(after("the book comes", [&] { write("book/a.vcf", card("a")); }), Ids({"a"}));
  EXPECT_EQ(after("a write", [&] { write("book/a.vcf", card("a2")); }), Ids({"a2"}));
  EXPECT_EQ(after("a new folder", [&] { write("book/sub/deep/b.vcf", card("b")); }),
            Ids({"a2", "b"}));
  EXPECT_EQ(after("a file in it", [&] { write("book/sub/deep/c.vcf", card("c")); }),
            Ids({"a2", "b", "c"}));
  write("book/.next", card("a3"));
  EXPECT_EQ(after("a replaced file", [&] { fs::rename(book / ".next", book / "a.vcf"); }),
            Ids({"a3", "b", "c"}));
  EXPECT_EQ(after("a deletion", [&] { fs::remove(book / "sub/deep/c.vcf"); }), Ids({"a3", "b"}));
  EXPECT_EQ(after("a folder moved out", [&] { fs::rename(book / "sub", root / "sub"); }),
            Ids({"a3"}));
  EXPECT_EQ(after("a folder moved in", [&] { fs::rename(root / "sub", book / "sub2"); }),
            Ids({"a3", "b"}));
  std::ofstream late(book / ".late");
  late << card("c") << std::flush;
  fs::create_hard_link(book / ".late", book / "c.vcf");
  EXPECT_EQ(after("another name", [&] { fs::remove(book / ".late"); }), Ids({"a3", "c", "b"}));
  EXPECT_EQ(after("a write by the old one", [&] { late << card("d") << std::flush; }),
            Ids({"a3", "c", "d", "b"}));
  after("a change of rights", [&] { fs::permissions(book / "a.vcf", fs::perms::owner_read); });
  EXPECT_EQ(after("the book goes", [&] { fs::remove_all(book); }), Ids());
  EXPECT_EQ(after("the book returns", [&] { write("book/a.vcf", card("z")); }), Ids({"z"}));
}

TEST_F(Watch, FollowsASingleFileAndIgnoresTheRest) {
  write("one.vcf", card("a"));
  const auto store = authorized(root / "one.vcf")->makeStore();
  write("other.vcf", card("x"));
  EXPECT_FALSE(notified(milliseconds(400)));
  write("one.vcf", card("b"));
  EXPECT_TRUE(notified());
  write("one.new", card("b"));
  fs::rename(root / "one.new", root / "one.vcf");
  EXPECT_TRUE(notified());
  fs::remove(root / "one.vcf");
  EXPECT_TRUE(notified());
}

TEST_F(Watch, NoticesWhatBringsNoEvents) {
  write("elsewhere.vcf", card("a"));
  fs::create_directories(book);
  fs::create_symlink("../elsewhere.vcf", book / "a.vcf");
  const auto store = authorized(book)->makeStore();
  identifiers(*store);
  write("elsewhere.vcf", card("changed"));
  EXPECT_EQ(identifiers(*store), std::vector<std::string>{"changed"});
  EXPECT_TRUE(notified(milliseconds(2500))) << "a call has found it";
  const std::clock_t begin = std::clock();
  write("elsewhere.vcf", card("again"));
  EXPECT_TRUE(notified()) << "nobody asks";
  EXPECT_LT(std::clock() - begin, CLOCKS_PER_SEC) << "without a rest";
}

TEST_F(Watch, AListingHoldsUntilAnEventThatMatters) {
  write("book/a.vcf", card("a"));
  BookWatcher watcher(book, [] {});
  EXPECT_EQ(watcher.list().files.size(), 1U);
  write("other.vcf", "");
  fs::create_directory(book / ".git");
  watcher.read(book / "a.vcf");
  EXPECT_TRUE(watcher.holds() && watcher.holds());
  write("book/b.vcf", card("b"));
  EXPECT_FALSE(watcher.holds());
}

TEST_F(Watch, NoticesAMountOverTheBook) {
  write("book/a.vcf", card("a"));
  if (unshare(CLONE_NEWNS) != 0 || mount("", "/", "", MS_REC | MS_PRIVATE, "") != 0) GTEST_SKIP();
  const auto store = authorized(book)->makeStore();
  ASSERT_EQ(mount("none", book.c_str(), "tmpfs", 0, ""), 0);
  EXPECT_TRUE(notified());
  ASSERT_EQ(umount(book.c_str()), 0);
  EXPECT_TRUE(notified());
}

TEST_F(Watch, ExpectsAChangeWhereEventsWereLost) {
  write("book/.0", "");
  FolderEvents events(book);
  events.watch();
  std::size_t limit = 0;
  std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> limit;
  for (std::size_t i = 0; i <= limit / 2; ++i)
    fs::rename(book / (i % 2 ? ".1" : ".0"), book / (i % 2 ? ".0" : ".1"));
  EXPECT_TRUE(events.takeChanges());
  EXPECT_FALSE(events.takeChanges());
}

TEST_F(Watch, TellsABurstOnceAndWhatIsNoCardNever) {
  write("book/a.vcf", card("a"));
  std::atomic<int> posts = 0;
  const auto provider = authorized(book);
  center->addObserver(&posts, CNContactStoreDidChangeNotification, [&posts] { ++posts; });
  {
    const auto store = provider->makeStore();
    for (const char* name : {"book/.hidden.vcf", "book/notes.txt", "book/.git/a.vcf"})
      write(name, card("x"));
    EXPECT_FALSE(notified(milliseconds(400)));
    for (int i = 0; i < 200; ++i)
      write("book/" + std::to_string(i) + ".vcf", card("c"));
    EXPECT_TRUE(notified());
    EXPECT_FALSE(notified(milliseconds(400)));
  }
  center->removeObserver(this);
  EXPECT_LE(posts, 3) << "200 writes are one burst, or few on a busy machine";
}

TEST_F(Watch, MayEndInsideItsOwnNotification) {
  std::promise<void> ended;
  auto provider = authorized(book);
  provider->makeStore();
  center->addObserver(&ended, CNContactStoreDidChangeNotification, [&] {
    provider.reset();
    ended.set_value();
  });
  write("book/a.vcf", card("a"));
  EXPECT_EQ(ended.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
  center->removeObserver(&ended);
  EXPECT_TRUE(notified());
}

}  // namespace
}  // namespace quillfold
