// The two daemons that keep the desktop's address books, as the session bus knows them.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "adapters/desktop/owned.h"

namespace quillfold::desktop {

// Of one thread that has a main context of its own.
class DesktopService {
 public:
  // Looks for the service, without starting it. Absent, with a text for people, if there is
  // no bus or the bus knows no such service.
  static std::optional<DesktopService> find(GCancellable* cancellable, std::string& failure);

  // Starts the daemons where they don't run, and waits until both answer. Gives a text for
  // people if they don't.
  std::string start(GCancellable* cancellable) const;

  // Calls back once each daemon has answered or is gone, however long that takes.
  void awaitAnswers(GCancellable* cancellable, std::function<void()> onAnswers) const;

  GDBusConnection* bus() const { return bus_.get(); }
  // The name of the daemon that knows which address books there are.
  const std::string& sources() const { return sources_; }

 private:
  DesktopService() = default;

  Owned<GDBusConnection> bus_;
  // Both end in a number that grows from release to release.
  std::string sources_;
  std::string books_;
};

// Word that the owner of a name on the bus has gone.
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
