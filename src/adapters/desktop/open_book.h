// One address book of the desktop.
#pragma once

#include <libebook/libebook.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "adapters/desktop/owned.h"

namespace quillfold::desktop {

// What books are called, by identifier. Each keeps the name that it was first seen with, for
// what was read of it is known by that.
using BookPaths = std::map<std::string, std::string>;

// What there is to know of a book that need not be open.
struct BookSource {
  BookSource(ESource* source, BookPaths& paths);

  Owned<ESource> source;
  std::string identifier;
  std::string path;  // For people, and unlike that of any other book.
  // Whether it is the one that every user has. Its contacts are called by their UID alone,
  // as in a file; those of the others by the book and the UID, whatever other books hold.
  bool builtin = false;
  bool remote = false;  // In the network, or a copy of what is.
};

// Of one thread that has a main context of its own. Both handlers are called there, inside
// signals, and must not destroy the book.
class OpenBook {
 public:
  // Absent, with the reason, if the service can't open it.
  static std::unique_ptr<OpenBook> open(const BookSource& source, std::function<void()> onChange,
                                        std::function<void()> onDeath, GCancellable* cancellable,
                                        std::string& failure);

  // All cards of the book, one after the other and with their pictures.
  // Changes that come behind the beginning of this are told. Gives the reason if it fails.
  std::string read(std::string& cards, GCancellable* cancellable) const;

 private:
  OpenBook() = default;

  std::string prefix_;
  Owned<EBookClient> client_;
  Owned<EBookClientView> view_;
  std::vector<SignalHandler> handlers_;  // Go first.
};

}  // namespace quillfold::desktop
