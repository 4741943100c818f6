#include "adapters/desktop/desktop_books.h"

#include <utility>

#include "foundation/format.h"

namespace quillfold::desktop {

namespace {

constexpr const char* kSilence = "the desktop's address book service does not answer in time";

// What has to be done about a failure of a book in the network, or of any other one.
void giveUp(LiveBooks& books, const std::string& path, bool remote, GCancellable* cancellable,
            const std::string& failure) {
  if (!remote) return books.drop();
  books.current()->leaveOut(path, g_cancellable_is_cancelled(cancellable) ? kSilence : failure);
}

}  // namespace

std::shared_ptr<DesktopBooks> DesktopBooks::make(std::chrono::milliseconds limit,
                                                 std::shared_ptr<DispatchQueue> queue,
                                                 std::function<void()> onChange) {
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
std::optional<T> DesktopBooks::ask(bool remote, Deadline deadline, Work<T> work) {
  if (live_->isSilent()) return std::nullopt;
  const std::function<T(GCancellable*)> here = [live = live_,
                                                work = std::move(work)](auto* cancellable) {
    return work(*live, cancellable);
  };
  if (remote) {
    const auto left = deadline - std::chrono::steady_clock::now();
    return thread_.call<T>(deadline - left / 2, here, [] {});
  }
  auto result = thread_.call<T>(deadline, here, [live = live_] { live->awaitAnswers(); });
  if (!result) live_->noteSilence();
  return result;
}

BookListing DesktopBooks::list() {
  Review review = connect();
  listed_ = review.changes;
  nextTry_ = review.nextTry;
  remote_ = std::move(review.remote);
  return std::move(review.listing);
}

DesktopBooks::Review DesktopBooks::connect() {
  const Deadline end = deadline();
  for (;;) {
    std::optional<Review> review = ask<Review>(false, end, [](auto& books, auto* cancellable) {
      Review result;
      BookSession* session = books.session(cancellable, result.listing.failure);
      if (!session) return result;
      result.closed = session->review();
      result.listing = session->listing();
      result.remote = session->remotePaths();
      result.nextTry = session->nextTry();
      result.changes = books.changes();
      return result;
    });
    if (!review) return {.listing = {{}, kSilence}};
    if (review->closed.empty()) return *std::move(review);
    for (const ClosedBook& book : review->closed) {
      const std::string failure = open(book, book.remote ? end - limit_ / 2 : end);
      if (!failure.empty()) return {.listing = {{}, failure}};
    }
  }
}

std::string DesktopBooks::open(const ClosedBook& book, Deadline end) {
  const auto failure = ask<std::string>(book.remote, end, [book](auto& books, auto* cancellable) {
    // Without a session the next review makes one.
    std::string reason;
    if (BookSession* session = books.current()) reason = session->openBook(book.path, cancellable);
    if (reason.empty()) return reason;
    giveUp(books, book.path, book.remote, cancellable, reason);
    return book.remote ? "" : fmt::format("{}: {}", book.path, reason);
  });
  if (failure) return *failure;
  return book.remote ? "" : kSilence;
}

FileContents DesktopBooks::read(const std::string& path) {
  const bool remote = remote_.contains(path);
  const auto work = [path, remote](auto& books, auto* cancellable) {
    FileContents contents;
    contents.failure = "the desktop's address book service has gone";
    if (!books.current()) return contents;
    contents = books.current()->read(path, cancellable);
    if (!contents.failure.empty()) giveUp(books, path, remote, cancellable, contents.failure);
    return contents;
  };
  auto contents = ask<FileContents>(remote, deadline(), work);
  if (!contents)
    return {.bytes = {}, .stamp = {}, .failure = fmt::format("{}: {}", path, kSilence)};
  return *std::move(contents);
}

void DesktopBooks::reconnect() {
  // Only here, not where somebody reads: what then fails would be told and read without end.
  const bool back = connect().listing.failure.empty();
  thread_.post([live = live_, back] { back ? live->tellReturn() : live->tryAgainLater(); });
}

}  // namespace quillfold::desktop
