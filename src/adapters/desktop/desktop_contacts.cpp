#include "adapters/desktop/desktop_contacts.h"

#include <utility>

#include "adapters/desktop/desktop_books.h"

namespace quillfold {

DesktopContacts::DesktopContacts(DesktopContactsOptions options)
    : LinuxContacts({.path = "desktop",
                     .question = std::move(options.question),
                     .labels = std::move(options.labels),
                     .defaults = std::move(options.defaults),
                     .notifications = std::move(options.notifications),
                     .queue = options.queue}),
      timeLimit_(options.timeLimit),
      queue_(std::move(options.queue)) {}

std::shared_ptr<BookFiles> DesktopContacts::openBook(std::function<void()> onChange) {
  return desktop::DesktopBooks::make(timeLimit_, queue_, std::move(onChange));
}

std::function<void(Platform&)> desktopContacts(DesktopContactsOptions options) {
  return [options = std::move(options)](Platform& platform) {
    DesktopContactsOptions all = options;
    if (all.question) {
      if (!all.defaults) all.defaults = platform.userDefaults;
    } else {
      // Nobody has decided, so nothing is remembered.
      all.question = [](const auto& answer) { answer(true); };
    }
    if (!all.notifications) all.notifications = platform.notifications;
    if (!all.queue) all.queue = platform.globalQueue;
    platform.contacts = std::make_shared<DesktopContacts>(std::move(all));
  };
}

}  // namespace quillfold
