// A connection to the desktop's address books.
#pragma once

#include <libebook/libebook.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "adapters/desktop/desktop_service.h"
#include "adapters/desktop/glib_thread.h"
#include "adapters/desktop/open_book.h"
#include "adapters/vcard/book/book_files.h"

namespace quillfold::desktop {

// A book that is to be opened or read. One in the network, or kept there, may be out of reach.
struct BookName {
  std::string path;
  bool remote = false;
};

// Of one thread that has a main context of its own. Each book is a file, in the folder of
// its identifier; the default one is at the top.
class BookSession {
 public:
  struct Handlers {
    // Of a book, inside a signal: must not destroy the session.
    std::function<void()> onChange;
    // Which books there are, or the default one, may be another than before. On any thread:
    // the process has one registry, with a thread of its own unless the host made it.
    std::function<void()> onRegistryChange;
    // The session is of no use any more. Inside a signal, too.
    std::function<void()> onDeath;
  };
  // Absent, with a text for people, if the service can't be reached. The paths outlive it.
  static std::unique_ptr<BookSession> open(DesktopService& service, BookPaths& paths,
                                           Handlers handlers, GCancellable* cancellable,
                                           std::string& failure);

  // Whether other books are enabled, or another one is the default one, than when this was
  // last asked.
  bool hasNewShape();
  // Makes the books those that are enabled now, without asking the service. Behind
  // `hasNewShape`, for whoever else has to be told. Returns those
  // that have to be opened, or left out, before there is a listing; those in the network last.
  std::vector<BookName> review();
  // Gives the reason if it can't be opened. For a path of no closed book it does nothing.
  std::string openBook(const std::string& path, GCancellable* cancellable);
  // With a warning in the log that says what becomes of it. The book is tried again after
  // some time, by the next review.
  void leaveOut(const std::string& path, const std::string& fate, const std::string& reason);
  // When that is for the first of them.
  Deadline nextTry() const;

  // A book that is left out has no stamp.
  BookListing listing() const;
  // Of the books in the network: all, and those that have to be opened, or read, once more.
  std::set<std::string> remotePaths() const;
  std::set<std::string> unreadRemotePaths() const;
  bool has(const std::string& path) const { return books_.contains(path); }
  // A book that is not open has a failure.
  FileContents read(const std::string& path, GCancellable* cancellable);

 private:
  struct Book;
  struct Shape {
    std::vector<std::string> paths;
    std::string defaultBook;
    friend bool operator==(const Shape&, const Shape&) = default;
  };

  BookSession(BookPaths& paths, Handlers handlers)
      : paths_(paths), handlers_(std::move(handlers)) {}
  std::vector<BookSource> enabledSources() const;
  Shape shape() const;

  BookPaths& paths_;
  const Handlers handlers_;
  Owned<ESourceRegistry> registry_;
  std::map<std::string, std::shared_ptr<Book>> books_;  // By path.
  Shape shape_;
  std::unique_ptr<NameWatch> watch_;
  std::vector<SignalHandler> signals_;
};

}  // namespace quillfold::desktop
