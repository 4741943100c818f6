// A host on a GLib main loop: keeps an address book uploaded until it is interrupted.
//
//   quillfold-glib-host BOOK [BACKEND]
#include <glib-unix.h>
#include <quillfold/loops/glib.h>
#include <quillfold/quillfold.h>

#include <csignal>
#include <iostream>
#include <optional>

namespace {

using namespace quillfold;

// All of it runs on the thread of the loop, which nothing may be thrown through.
struct Host {
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  std::optional<Account> account;
  AccountSubscription watching;
  int status = 0;

  void fail(const Failure& failure) {
    std::cerr << failure.what() << '\n';
    status = 1;
    g_main_loop_quit(loop);
  }
  void opened(const Result<Account>& result) {
    if (!result) return fail(result.failure());
    account = *result;
    account->sync().then([this](const Result<SyncReport>& synced) {
      if (!synced) return fail(synced.failure());
      std::cout << synced->uploaded << " uploaded" << std::endl;
      watching = account->onChange(tell);
    });
  }
  // Of the runs that the library starts by itself when the address book changes.
  static void tell(const AccountChange& change) {
    if (change.failure)
      std::cerr << "Not synced: " << change.failure->what() << '\n';
    else if (change.report)
      std::cout << change.report->uploaded << " uploaded" << std::endl;
  }
  void close() {
    if (!account) return g_main_loop_quit(loop);
    account->close().then([this](const Result<void>& closed) {
      if (!closed) return fail(closed.failure());
      g_main_loop_quit(loop);
    });
  }
  static gboolean interrupted(gpointer host) {
    static_cast<Host*>(host)->close();
    return G_SOURCE_CONTINUE;
  }
};

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 2) {
    std::cerr << "Usage: " << argv[0] << " BOOK [BACKEND]\n";
    return 2;
  }
  Host host;
  const Linux device{.addressBook = argv[1],
                     .backend = argc > 2 ? argv[2] : "",
                     .mainQueue = std::make_shared<loops::GLibQueue>()};
  for (const int signal : {SIGINT, SIGTERM})
    g_unix_signal_add(signal, &Host::interrupted, &host);
  Account::open(
      {.apiKey = "key", .token = "token", .user = {.id = "ann", .email = "ann@example.com"}})
      .then([&host](const Result<Account>& result) { host.opened(result); });
  g_main_loop_run(host.loop);
  g_main_loop_unref(host.loop);
  return host.status;
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
