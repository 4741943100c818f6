#include "adapters/desktop/book_session.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <utility>

#include "foundation/format.h"
#include "platform/dispatch.h"
#include "platform/platform.h"

namespace quillfold::desktop {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::minutes kUntilNextTry{5};

// The process has only one, which reports to the thread that it was made on: so that is one
// that never ends.
Owned<ESourceRegistry> openRegistry(GCancellable* cancellable, ErrorSlot& error) {
  static GLibThread& thread = *new GLibThread;
  const std::function<ESourceRegistry*(GCancellable*)> open = [&](GCancellable*) {
    return e_source_registry_new_sync(cancellable, error.out());
  };
  return Owned<ESourceRegistry>(*thread.call(Deadline::max(), open, [] {}));
}

// That of no book before, in any session.
std::uint64_t nextVersion() {
  static std::atomic<std::uint64_t> last = 0;
  return ++last;
}

}  // namespace

struct BookSession::Book {
  explicit Book(BookSource taken) : source(std::move(taken)) {}

  bool isClosed() const { return leftOutUntil ? steady_clock::now() >= *leftOutUntil : !open; }
  bool isUnread() const { return isClosed() || (!leftOutUntil && version != readVersion); }

  BookSource source;
  std::unique_ptr<OpenBook> open;
  std::uint64_t version = 0;
  std::uint64_t readVersion = 0;
  // One that is left out may be open: then it still tells of the service's death.
  std::optional<steady_clock::time_point> leftOutUntil;
};

std::unique_ptr<BookSession> BookSession::open(DesktopService& service, BookPaths& paths,
                                               Handlers handlers, GCancellable* cancellable,
                                               std::string& failure) {
  // The registry takes no notice of being cancelled, and without the service it is empty.
  failure = service.start(cancellable);
  if (!failure.empty()) return nullptr;
  ErrorSlot error;
  std::unique_ptr<BookSession> session(new BookSession(paths, std::move(handlers)));
  session->registry_ = openRegistry(cancellable, error);
  if (!session->registry_) {
    failure = fmt::format("its books can't be listed: {}", error.text());
    return nullptr;
  }
  for (const char* signal : {"source-added", "source-removed", "source-enabled", "source-disabled",
                             "notify::default-address-book"}) {
    session->signals_.emplace_back(session->registry_.get(), signal,
                                   session->handlers_.onRegistryChange);
  }
  session->shape_ = session->shape();
  session->watch_ = std::make_unique<NameWatch>(service, session->handlers_.onDeath);
  return session;
}

std::vector<BookSource> BookSession::enabledSources() const {
  GList* sources = e_source_registry_list_enabled(registry_.get(), E_SOURCE_EXTENSION_ADDRESS_BOOK);
  std::vector<BookSource> result;
  for (const GList* node = sources; node; node = node->next)
    result.emplace_back(static_cast<ESource*>(node->data), paths_);
  g_list_free(sources);
  return result;
}

BookSession::Shape BookSession::shape() const {
  Shape shape;
  for (const BookSource& source : enabledSources())
    shape.paths.push_back(source.path);
  const Owned<ESource> first(e_source_registry_ref_default_address_book(registry_.get()));
  if (first) shape.defaultBook = e_source_get_uid(first.get());
  return shape;
}

bool BookSession::hasNewShape() {
  return std::exchange(shape_, shape()) != shape_;
}

std::vector<BookName> BookSession::review() {
  const auto before = std::exchange(books_, {});
  std::vector<BookName> closed;
  for (BookSource& source : enabledSources()) {
    const std::string path = source.path;
    const auto known = before.find(path);
    const auto book =
        known != before.end() ? known->second : std::make_shared<Book>(std::move(source));
    if (book->isClosed()) closed.push_back({path, book->source.remote});
    books_.emplace(path, book);
  }
  std::stable_partition(closed.begin(), closed.end(),
                        [](const auto& book) { return !book.remote; });
  return closed;
}

std::string BookSession::openBook(const std::string& path, GCancellable* cancellable) {
  const auto found = books_.find(path);
  if (found == books_.end() || !found->second->isClosed()) return "";
  Book& book = *found->second;
  book.leftOutUntil.reset();
  const auto onChange = [this, &book] {
    book.version = nextVersion();
    // Whoever tells is within reach again.
    if (book.leftOutUntil) book.leftOutUntil = steady_clock::now();
    handlers_.onChange();
  };
  std::string failure;
  book.version = nextVersion();
  book.open = OpenBook::open(book.source, onChange, handlers_.onDeath, cancellable, failure);
  return failure;
}

void BookSession::leaveOut(const std::string& path, const std::string& fate,
                           const std::string& reason) {
  const auto found = books_.find(path);
  if (found == books_.end()) return;
  found->second->leftOutUntil = steady_clock::now() + kUntilNextTry;
  // From another thread: this one is waited for, perhaps by what the log calls.
  dispatchGlobal([line = fmt::format("{} {}: {}", path, fate, reason)] {
    LogSink& log = *Platform::current().log;
    if (!log.wants(LogLevel::Warning)) return;
    log.leveled(LogLevel::Warning, "com.quillfold", "AddressBook", line);
  });
}

Deadline BookSession::nextTry() const {
  Deadline next = Deadline::max();
  for (const auto& [path, book] : books_)
    next = std::min(next, book->leftOutUntil.value_or(next));
  return next;
}

BookListing BookSession::listing() const {
  BookListing listing;
  for (const auto& [path, book] : books_) {
    const std::string& identifier = book->source.identifier;
    const bool top = identifier == shape_.defaultBook;
    const bool there = book->open && !book->leftOutUntil;
    listing.files.push_back(
        {path, top ? "" : identifier, FileStamp{.inode = there ? book->version : 0}});
  }
  return listing;
}

std::set<std::string> BookSession::remotePaths() const {
  std::set<std::string> paths;
  for (const auto& [path, book] : books_) {
    if (book->source.remote) paths.insert(path);
  }
  return paths;
}

std::set<std::string> BookSession::unreadRemotePaths() const {
  std::set<std::string> paths = remotePaths();
  std::erase_if(paths, [this](const auto& path) { return !books_.at(path)->isUnread(); });
  return paths;
}

FileContents BookSession::read(const std::string& path, GCancellable* cancellable) {
  FileContents contents;
  const auto found = books_.find(path);
  if (found == books_.end() || !found->second->open) {
    contents.failure = fmt::format("{}: the book has gone", path);
    return contents;
  }
  Book& book = *found->second;
  contents.stamp.inode = book.version;
  contents.settled = true;
  const std::string failure = book.open->read(contents.bytes, cancellable);
  if (failure.empty()) {
    book.readVersion = contents.stamp.inode;
  } else {
    contents.failure = fmt::format("{}: {}", path, failure);
  }
  return contents;
}

}  // namespace quillfold::desktop
