// Keeps a connection to the desktop's address books alive.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "adapters/desktop/book_session.h"
#include "adapters/desktop/glib_thread.h"
#include "adapters/desktop/timer.h"

namespace quillfold::desktop {

inline constexpr const char* kSilence =
    "the desktop's address book service does not answer in time";

// Of the thread that it posts to, but for what says otherwise.
class LiveBooks : public std::enable_shared_from_this<LiveBooks> {
 public:
  using milliseconds = std::chrono::milliseconds;
  struct Handlers {
    std::function<void(GLibThread::Job)> post;
    // Once for changes that come in one burst.
    std::function<void()> onChange;
    // There is no connection, and it is time to try to have one.
    std::function<void()> onLost;
  };
  explicit LiveBooks(Handlers handlers) : handlers_(std::move(handlers)) {}

  // The connection, made anew if there is none. Absent, with a text for people, if that
  // fails.
  BookSession* session(GCancellable* cancellable, std::string& failure);
  // Null if there is none.
  BookSession* current() const { return session_.get(); }
  // Tells, once, that there are other books than before.
  void checkShape();
  // Lets go of the connection. `onLost` follows.
  void drop();
  // There is a connection again, and it is readable. Told as a change: nobody
  // knows what happened meanwhile.
  void tellReturn();
  // Has `onLost` called after some time, which grows to a minute while that is in vain, and
  // to five with a book that could not be read.
  void tryAgainLater();
  // Does what there is to do about a failure of a book in the network, and takes no longer
  // than the limit. If the service is to blame that is treated, otherwise the book is left
  // out; then true.
  bool leaveOut(const std::string& path, const std::string& reason, milliseconds limit);
  // That a book could be read, so that an old state is there in its place from now on.
  void noteRead(const std::string& path);
  // That a book on this device could not. Lets go of the connection.
  void noteUnreadable(const std::string& path);
  // Whether there is a connection, and none of its books could be opened but not be read.
  bool isReadable(GCancellable* cancellable);
  // Lets go of everything, for good.
  void close();

  // Any thread: grows with each change, and before it is told.
  std::uint64_t changes() const { return changes_; }

  // Any thread: the service has left somebody waiting for too long. Each such call is
  // followed by one of `awaitAnswers` on the thread, before or after.
  void noteSilence() { ++silent_; }
  // Any thread: it has not answered since.
  bool isSilent() const { return silent_ > 0; }
  void awaitAnswers();

 private:
  using Clock = std::chrono::steady_clock;

  // Does the work later, on the thread. May be called on any one.
  std::function<void()> posted(std::function<void(LiveBooks&)> work);
  std::unique_ptr<BookSession> connect(GCancellable* cancellable, std::string& failure);
  // It is no longer one that can't be read: it was, or has gone.
  void forgive(const std::string& path);
  void noteChange();
  void endSilence();

  const Handlers handlers_;
  std::atomic<std::uint64_t> changes_ = 1;
  std::atomic<int> silent_ = 0;

  std::optional<DesktopService> service_;
  BookPaths paths_;
  std::unique_ptr<BookSession> session_;
  std::uint64_t connection_ = 0;  // Its number.
  Owned<GCancellable> closing_{g_cancellable_new()};
  std::set<std::string> read_;
  Clock::time_point connected_;
  bool lost_ = false;
  int tries_ = 0;
  std::set<std::string> unreadable_;
  int vainReads_ = 0;  // Since the last time that there was nothing unreadable.
  Timer nextTry_;
  Timer pause_;
  Clock::time_point burstEnd_;
};

}  // namespace quillfold::desktop
