// The two daemons that keep the desktop's address books, as the session bus knows them.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "adapters/desktop/owned.h"

namespace quillfold::desktop {

enum class Pulse {
  Beats,
  Silent,
  Gone,  // It died, even if another one has taken its place.
};

// Of one thread that has a main context of its own.
class DesktopService {
 public:
  // Looks for the service, without starting it. Absent, with a text for people, if there is
  // no bus or the bus knows no such service.
  static std::optional<DesktopService> find(GCancellable* cancellable, std::string& failure);

  // Starts the daemons where they don't run, and waits until both answer. Gives a text for
  // people if they don't.
  std::string start(GCancellable* cancellable);

  // That of the daemon with the books since the last start, in no longer than the limit.
  Pulse pulse(std::chrono::milliseconds limit) const;

  // Calls back once each daemon has answered or is gone, however long that takes.
  void awaitAnswers(GCancellable* cancellable, std::function<void()> onAnswers) const;

  // Calls back once the bus has taken a new connection or is gone, however long that takes.
  static void awaitBus(GCancellable* cancellable, std::function<void()> onBus);

  // Of our own: its signals come to this thread, whoever made the one that the process shares.
  GDBusConnection* bus() const { return bus_.get(); }
  // The name of the daemon that knows which address books there are.
  const std::string& sources() const { return sources_.name; }

 private:
  // What a daemon is called, and what it answers for on its main loop.
  struct Daemon {
    std::string name{};  // Ends in a number that grows from release to release.
    const char* path;
    const char* interface;
  };

  DesktopService() = default;
  bool answers(const std::string& name, const Daemon& daemon, GDBusCallFlags flags, int limit,
               GCancellable* cancellable, ErrorSlot& error) const;

  Owned<GDBusConnection> bus_;
  // What libebook uses. Held, so that it is not made anew as one that ends the process.
  Owned<GDBusConnection> shared_;
  Daemon sources_{.path = "/org/gnome/evolution/dataserver/SourceManager",
                  .interface = "org.gnome.evolution.dataserver.SourceManager"};
  Daemon books_{.path = "/org/gnome/evolution/dataserver/AddressBookFactory",
                .interface = "org.gnome.evolution.dataserver.AddressBookFactory"};
  std::string booksOwner_;
};

// Word that the owner of a name on the bus, or the bus, has gone.
class NameWatch {
 public:
  NameWatch(const DesktopService& service, std::function<void()> onGone);
  ~NameWatch() { g_bus_unwatch_name(id_); }
  NameWatch(const NameWatch&) = delete;
  NameWatch& operator=(const NameWatch&) = delete;

 private:
  const std::function<void()> onGone_;
  const guint id_;
};

}  // namespace quillfold::desktop
