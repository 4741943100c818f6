#include <quillfold/quillfold.h>
#include <iostream>

using namespace quillfold;

int main() {
  // Where things are; every member has a default.
  LinuxConfiguration configuration;
  configuration.applicationIdentifier = "quickstart";
  configuration.addressBook = "examples/contacts/book";
  configuration.accessQuestion = [](const auto& answer) { answer(true); };

  auto queue = std::make_shared<LinuxMainQueue>();
  Platform platform = makeLinuxPlatform(configuration);
  platform.mainQueue = queue;
  Platform::install(platform);

  const auto service = QFContactService::sharedInstance();
  const auto user = QFUserInfo::initWithUserId("ann", "Ann Lee", "ann@example.com", std::nullopt);
  service->initializeWithAPIKey("key", "token", user, nullptr, [&](bool ready, ErrorPtr error) {
    if (!ready) return std::cerr << error->localizedDescription() << '\n', queue->stop();
    service->requestContactsAccessWithCompletion([&](bool) {
      service->syncContacts([&](bool success, ErrorPtr failure) {
        std::cout << (success ? "synced" : failure->localizedDescription()) << '\n';
        queue->stop();
      });
    });
  });
  service->enableBackgroundSync();  // Before the first registration; see docs/guide.md.
  queue->run();
}
