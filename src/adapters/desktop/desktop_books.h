// The desktop's address books as the files of one book.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "adapters/desktop/fetch_time.h"
#include "adapters/desktop/glib_thread.h"
#include "adapters/desktop/live_books.h"
#include "adapters/vcard/book/book_files.h"
#include "platform/dispatch.h"

namespace quillfold::desktop {

class DesktopBooks : public BookFiles, public std::enable_shared_from_this<DesktopBooks> {
 public:
  // `onChange` is called on the queue. Connects with the first listing.
  static std::shared_ptr<DesktopBooks> make(std::chrono::milliseconds limit,
                                            std::shared_ptr<DispatchQueue> queue,
                                            std::function<void()> onChange);
  ~DesktopBooks() override;

  // What follows takes no longer than the limit, all together. Once it did, calls fail at
  // once until the service answers again.
  void begin() override {
    time_ = FetchTime(limit_);
    vainListings_ = 0;
    failure_.clear();
  }
  // A book in the network that can't be read has the stamp that it had when it was read last.
  BookListing list() override;
  bool holds() override {
    return live_->changes() == listed_ && std::chrono::steady_clock::now() < nextTry_;
  }
  FileContents read(const std::string& path) override;
  // A book in the network may be missing for a while, and out of reach once it is back.
  bool mayReturn(const std::string& path) const override { return kept_.contains(path); }

 private:
  template <typename T>
  using Work = std::function<T(LiveBooks& books, GCancellable* cancellable)>;
  // A listing, unless there are books to be opened first.
  struct Review {
    BookListing listing{};
    std::vector<BookName> closed{};
    std::set<std::string> remote{};
    std::set<std::string> unread{};  // Of those.
    std::uint64_t changes = 0;
    Deadline nextTry = Deadline::max();
  };

  DesktopBooks(std::chrono::milliseconds limit, std::shared_ptr<DispatchQueue> queue)
      : limit_(limit), queue_(std::move(queue)), time_(limit_) {}

  // What the work gives on the thread; absent if that takes too long. For a book in the
  // network that is not the service's fault, and the work sees to it that it is cancelled.
  template <typename T>
  std::optional<T> ask(FetchTime& time, bool remote, Work<T> work);

  Review connect(FetchTime& time);
  // Gives a text for people if there can be no listing without the book.
  std::string open(const BookName& book, FetchTime& time);
  // Puts the last state of books that are left out in their place, where there is one.
  void keepWhatWasRead(BookListing& listing);
  void reconnect();

  const std::chrono::milliseconds limit_;
  const std::shared_ptr<DispatchQueue> queue_;
  std::shared_ptr<LiveBooks> live_;
  // Of the last listing.
  std::uint64_t listed_ = 0;
  std::set<std::string> remote_;
  Deadline nextTry_ = Deadline::max();
  FetchTime time_;
  // Why a book on this device could not be read since the last listing, and for how many
  // listings of this fetch that held.
  std::string failure_;
  std::size_t vainListings_ = 0;
  // What books in the network were like when they were read last.
  std::map<std::string, FileStamp> kept_;
  GLibThread thread_;
};

}  // namespace quillfold::desktop
