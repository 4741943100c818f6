// The desktop's address books as the files of one book.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

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

  // Each takes no longer than the limit. Once one did they fail at once until the service
  // answers again.
  BookListing list() override;
  bool holds() override {
    return live_->changes() == listed_ && std::chrono::steady_clock::now() < nextTry_;
  }
  FileContents read(const std::string& path) override;

 private:
  template <typename T>
  using Work = std::function<T(LiveBooks& books, GCancellable* cancellable)>;
  // A listing, unless there are books to be opened first.
  struct Review {
    BookListing listing{};
    std::vector<ClosedBook> closed{};
    std::set<std::string> remote{};
    std::uint64_t changes = 0;
    Deadline nextTry = Deadline::max();
  };

  DesktopBooks(std::chrono::milliseconds limit, std::shared_ptr<DispatchQueue> queue)
      : limit_(limit), queue_(std::move(queue)) {}

  // What the work gives on the thread; absent if that takes too long. A book in the network
  // gets half of the time that is left, so that the next one has some, too.
  template <typename T>
  std::optional<T> ask(bool remote, Deadline deadline, Work<T> work);
  Deadline deadline() const { return std::chrono::steady_clock::now() + limit_; }

  Review connect();
  // Gives a text for people if there can be no listing without the book.
  std::string open(const ClosedBook& book, Deadline end);
  void reconnect();

  const std::chrono::milliseconds limit_;
  const std::shared_ptr<DispatchQueue> queue_;
  std::shared_ptr<LiveBooks> live_;
  // Of the last listing.
  std::uint64_t listed_ = 0;
  std::set<std::string> remote_;
  Deadline nextTry_ = Deadline::max();
  GLibThread thread_;
};

}  // namespace quillfold::desktop
