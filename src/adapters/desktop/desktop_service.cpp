#include "adapters/desktop/desktop_service.h"

#include <limits>
#include <string_view>
#include <utility>

#include "foundation/format.h"

namespace quillfold::desktop {

namespace {

constexpr std::string_view kSources = "org.gnome.evolution.dataserver.Sources";
constexpr std::string_view kBooks = "org.gnome.evolution.dataserver.AddressBook";
// Callers cancel.
constexpr int kNoTimeout = std::numeric_limits<int>::max();

// The names that the bus has or could start a program for.
std::string namesOf(GDBusConnection* bus, const char* method, GCancellable* cancellable,
                    std::string& sources, std::string& books) {
  ErrorSlot error;
  const Owned<GVariant> reply(g_dbus_connection_call_sync(
      bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method, nullptr,
      G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE, kNoTimeout, cancellable, error.out()));
  if (!reply) return fmt::format("the session bus does not answer: {}", error.text());
  const Owned<GVariant> names(g_variant_get_child_value(reply.get(), 0));
  for (gsize i = 0; i < g_variant_n_children(names.get()); ++i) {
    const Owned<GVariant> name(g_variant_get_child_value(names.get(), i));
    const std::string_view text = g_variant_get_string(name.get(), nullptr);
    if (text.starts_with(kSources)) sources = text;
    if (text.starts_with(kBooks)) books = text;
  }
  return "";
}

}  // namespace

std::optional<DesktopService> DesktopService::find(GCancellable* cancellable,
                                                   std::string& failure) {
  ErrorSlot error;
  DesktopService service;
  service.bus_.reset(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable, error.out()));
  if (!service.bus_) {
    failure = fmt::format("there is no session bus: {}", error.text());
    return std::nullopt;
  }
  g_dbus_connection_set_exit_on_close(service.bus_.get(), FALSE);
  for (const char* method : {"ListActivatableNames", "ListNames"}) {
    failure = namesOf(service.bus_.get(), method, cancellable, service.sources_, service.books_);
    if (!failure.empty()) return std::nullopt;
  }
  if (!service.sources_.empty() && !service.books_.empty()) return service;
  failure = "the session bus knows no Evolution Data Server (package evolution-data-server)";
  return std::nullopt;
}

std::string DesktopService::start(GCancellable* cancellable) const {
  for (const std::string& name : {sources_, books_}) {
    ErrorSlot error;
    const Owned<GVariant> reply(g_dbus_connection_call_sync(
        bus_.get(), name.c_str(), "/", "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr,
        G_DBUS_CALL_FLAGS_NONE, kNoTimeout, cancellable, error.out()));
    if (!reply) return fmt::format("{} does not answer: {}", name, error.text());
  }
  return "";
}

void DesktopService::awaitAnswers(GCancellable* cancellable,
                                  std::function<void()> onAnswers) const {
  struct Pending {
    ~Pending() { onAnswers(); }
    std::function<void()> onAnswers;
  };
  using Share = std::shared_ptr<Pending>;
  const Share pending(new Pending{std::move(onAnswers)});
  for (const std::string& name : {sources_, books_}) {
    g_dbus_connection_call(
        bus_.get(), name.c_str(), "/", "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr,
        G_DBUS_CALL_FLAGS_NO_AUTO_START, kNoTimeout, cancellable,
        [](GObject*, GAsyncResult*, gpointer share) { delete static_cast<Share*>(share); },
        new Share(pending));
  }
}

NameWatch::NameWatch(const DesktopService& service, std::function<void()> onGone)
    : onGone_(std::move(onGone)),
      id_(g_bus_watch_name_on_connection(
          service.bus(), service.sources().c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE, nullptr,
          [](GDBusConnection*, const gchar*, gpointer self) {
            static_cast<NameWatch*>(self)->onGone_();
          },
          this, nullptr)) {}

}  // namespace quillfold::desktop
