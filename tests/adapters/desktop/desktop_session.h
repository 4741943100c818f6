// A session of the test's own: a bus, a home, and the service that keeps address books there.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>

#include <memory>

#include "adapters/desktop/owned.h"
#include "tests/support/child_program.h"
#include "tests/support/temporary_folder.h"

namespace quillfold {

inline constexpr const char* kPersonal = "system-address-book";
inline constexpr const char* kDaemons[] = {"org.gnome.evolution.dataserver.Sources5",
                                           "org.gnome.evolution.dataserver.AddressBook10"};

// The daemons start by themselves, and die with the bus.
class DesktopSession {
 public:
  explicit DesktopSession(bool withService = true) {
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME",
                             "XDG_RUNTIME_DIR", "DISPLAY", "WAYLAND_DISPLAY"}) {
      unsetenv(name);
    }
    setenv("HOME", home_.path("").c_str(), 1);
    setenv("GSETTINGS_BACKEND", "memory", 1);
    home_.write("bus.conf", std::string("<busconfig><type>session</type>"
                                        "<listen>unix:tmpdir=/tmp</listen>") +
                                (withService ? "<standard_session_servicedirs/>" : "") +
                                R"(<policy context="default"><allow own="*"/>)"
                                R"(<allow send_destination="*"/><allow receive_sender="*"/>)"
                                "</policy></busconfig>");
    bus_ = std::make_unique<ChildProgram>(
        "/usr/bin/dbus-daemon",
        std::vector<std::string>{"--nofork", "--nosyslog", "--print-address=1",
                                 "--config-file=" + home_.path("bus.conf")});
    std::string address = bus_->line();
    if (address.empty()) throw std::runtime_error("no bus");
    address.pop_back();
    setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  }
  ~DesktopSession() { end(); }

  // The bus first.
  void end() {
    if (!bus_) return;
    const pid_t daemons[] = {processOf(kDaemons[0]), processOf(kDaemons[1])};
    bus_->signal(SIGKILL);
    bus_->exitStatus();
    bus_.reset();
    for (const pid_t daemon : daemons) {
      pollfd gone{static_cast<int>(syscall(SYS_pidfd_open, daemon, 0)), POLLIN, 0};
      if (gone.fd < 0) continue;
      kill(daemon, SIGKILL);
      EXPECT_EQ(poll(&gone, 1, 10'000), 1) << "a daemon does not end";
      close(gone.fd);
    }
  }

  // Changes the books in a process of its own, see book_editor.cpp. Returns what it says.
  static std::string edit(std::vector<std::string> arguments) {
    ChildProgram editor(BOOK_EDITOR, std::move(arguments));
    std::string out = editor.rest();
    if (editor.exitStatus() != 0) throw std::runtime_error("a book could not be edited");
    return out;
  }

  // Sends a daemon, which has to run, a signal.
  void signal(const char* daemon, int number) const {
    const pid_t process = processOf(daemon);
    if (process == 0) throw std::runtime_error(std::string(daemon) + " does not run");
    kill(process, number);
  }
  void signalBus(int number) const { bus_->signal(number); }

 private:
  static pid_t processOf(const char* daemon) {
    const desktop::Owned<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    if (!bus) return 0;
    const desktop::Owned<GVariant> reply(
        g_dbus_connection_call_sync(bus.get(), "org.freedesktop.DBus", "/", "org.freedesktop.DBus",
                                    "GetConnectionUnixProcessID", g_variant_new("(s)", daemon),
                                    nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    guint process = 0;
    if (reply) g_variant_get(reply.get(), "(u)", &process);
    return static_cast<pid_t>(process);
  }

  const TemporaryFolder home_;
  std::unique_ptr<ChildProgram> bus_;
};

}  // namespace quillfold
