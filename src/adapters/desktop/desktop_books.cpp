#include "adapters/desktop/desktop_books.h"

#include <algorithm>
#include <utility>

#include "foundation/format.h"

namespace quillfold::desktop {

namespace {

// How often a fetch begins anew when the service dies under it.
constexpr std::size_t kAttempts = 2;
// Clocks and the bus count no further than some weeks or centuries.
constexpr std::chrono::hours kLongestLimit{24};
// The part of the time that the service has to show that it is not to blame.
constexpr int kPartForProof = 4;

// What has to be done about a failure of a book, on the thread. Whether it is left out.
bool giveUp(LiveBooks& books, const BookName& book, GCancellable* cancellable,
            const std::string& failure, std::chrono::milliseconds limit) {
  if (book.remote) {
    const bool late = g_cancellable_is_cancelled(cancellable);
    return books.leaveOut(book.path, late ? "it does not answer in time" : failure,
                          limit / kPartForProof);
  }
  books.drop();
  return false;
}

}  // namespace

std::shared_ptr<DesktopBooks> DesktopBooks::make(std::chrono::milliseconds limit,
                                                 std::shared_ptr<DispatchQueue> queue,
                                                 std::function<void()> onChange) {
  limit = std::clamp<std::chrono::milliseconds>(limit, {}, kLongestLimit);
  const std::shared_ptr<DesktopBooks> books(new DesktopBooks(limit, queue));
  const auto onLost = [queue, weak = books->weak_from_this()] {
    queue->async([weak] {
      if (const auto self = weak.lock()) self->reconnect();
    });
  };
  books->live_ = std::make_shared<LiveBooks>(LiveBooks::Handlers{
      books->thread_.poster(), [queue, onChange] { queue->async(onChange); }, onLost});
  return books;
}

DesktopBooks::~DesktopBooks() {
  thread_.post([live = live_] { live->close(); });
}

template <typename T>
std::optional<T> DesktopBooks::ask(FetchTime& time, bool remote, Work<T> work) {
  if (live_->isSilent()) return std::nullopt;
  const std::function<T(GCancellable*)> here = [live = live_,
                                                work = std::move(work)](auto* cancellable) {
    return work(*live, cancellable);
  };
  if (remote) return time.spend([&](Deadline end) { return thread_.call<T>(end, here, [] {}); });
  auto result = thread_.call<T>(time.end(), here, [live = live_] { live->awaitAnswers(); });
  if (!result) live_->noteSilence();
  return result;
}

BookListing DesktopBooks::list() {
  if (!failure_.empty() && ++vainListings_ == kAttempts) return {{}, failure_};
  failure_.clear();
  Review review = connect(time_);
  listed_ = review.changes;
  nextTry_ = review.nextTry;
  remote_ = std::move(review.remote);
  if (review.listing.failure.empty()) keepWhatWasRead(review.listing);
  return std::move(review.listing);
}

void DesktopBooks::keepWhatWasRead(BookListing& listing) {
  for (BookFile& file : listing.files) {
    const auto kept = kept_.find(file.path);
    if (file.stamp == FileStamp{} && kept != kept_.end()) file.stamp = kept->second;
  }
  std::erase_if(listing.files, [](const BookFile& file) { return file.stamp == FileStamp{}; });
}

DesktopBooks::Review DesktopBooks::connect(FetchTime& time) {
  std::string failure;
  for (std::size_t attempt = 0; attempt < kAttempts;) {
    std::optional<Review> review = ask<Review>(time, false, [](auto& books, auto* cancellable) {
      Review result;
      BookSession* session = books.session(cancellable, result.listing.failure);
      if (!session) return result;
      // Whoever notices it first has to tell the others.
      books.checkShape();
      result.closed = session->review();
      result.listing = session->listing();
      result.remote = session->remotePaths();
      result.unread = session->unreadRemotePaths();
      result.nextTry = session->nextTry();
      result.changes = books.changes();
      return result;
    });
    if (!review) return {.listing = {{}, kSilence}};
    time.setBooks(std::move(review->unread));
    if (review->closed.empty()) return *std::move(review);
    for (const BookName& book : review->closed) {
      failure = open(book, time);
      if (!failure.empty()) break;
    }
    if (!failure.empty()) ++attempt;
  }
  return {.listing = {{}, failure}};
}

std::string DesktopBooks::open(const BookName& book, FetchTime& time) {
  const auto work = [book, limit = limit_](auto& books, auto* cancellable) -> std::string {
    // Without a session the next review makes one.
    if (!books.current()) return "";
    const std::string reason = books.current()->openBook(book.path, cancellable);
    if (reason.empty() || giveUp(books, book, cancellable, reason, limit)) return "";
    return fmt::format("{}: {}", book.path, reason);
  };
  if (const auto failure = ask<std::string>(time, book.remote, work)) return *failure;
  // The next review tells what has become of it.
  if (book.remote) time.finish(book.path);
  return book.remote ? "" : kSilence;
}

FileContents DesktopBooks::read(const std::string& path) {
  const BookName book{path, remote_.contains(path)};
  const auto work = [book, limit = limit_](auto& books, auto* cancellable) {
    FileContents contents;
    contents.failure = "the desktop's address book service has gone";
    if (!books.current()) return contents;
    contents = books.current()->read(book.path, cancellable);
    if (contents.failure.empty()) {
      books.noteRead(book.path);
    } else if (book.remote) {
      giveUp(books, book, cancellable, contents.failure, limit);
    } else {
      books.noteUnreadable(book.path);
    }
    return contents;
  };
  auto contents = ask<FileContents>(time_, book.remote, work);
  time_.finish(path);
  if (!contents)
    return {.bytes = {}, .stamp = {}, .failure = fmt::format("{}: {}", path, kSilence)};
  if (!book.remote && failure_.empty()) failure_ = contents->failure;
  if (book.remote && contents->failure.empty()) kept_[path] = contents->stamp;
  return *std::move(contents);
}

void DesktopBooks::reconnect() {
  // Only here, not where somebody reads: what then fails would be told and read without end.
  FetchTime time(limit_);
  const bool back = connect(time).listing.failure.empty() &&
                    ask<bool>(time, false, [](auto& books, auto* cancellable) {
                      return books.isReadable(cancellable);
                    }).value_or(false);
  thread_.post([live = live_, back] { back ? live->tellReturn() : live->tryAgainLater(); });
}

}  // namespace quillfold::desktop
