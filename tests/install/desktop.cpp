#include <quillfold/desktop.h>
#include <quillfold/quillfold.h>
#include <future>
#include <iostream>

// Enumerates the desktop's address books, in a session of its own.
int main() {
  quillfold::Platform platform = quillfold::defaultPlatform();
  quillfold::desktopContacts()(platform);
  const auto store = platform.contacts->makeStore();
  std::promise<bool> granted;
  store->requestAccessForEntityType(
      quillfold::CNEntityTypeContacts,
      [&](bool answer, quillfold::ErrorPtr) { granted.set_value(answer); });
  quillfold::ErrorPtr error;
  int count = 0;
  if (granted.get_future().get())
    store->enumerateContactsWithFetchRequest({}, &error, [&](const auto&) { ++count; });
  if (error) std::cerr << error->localizedDescription() << '\n';
  return error || count != 0 ? 1 : 0;
}
