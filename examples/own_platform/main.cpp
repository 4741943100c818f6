// A host with an address book and HTTP of its own under the library.
//
//   quillfold-own-platform PEOPLE BACKEND
#include <quillfold/core.h>

#include <iostream>

#include "http_session.h"
#include "line_store.h"

namespace host {

class LineBook : public ContactsProvider {
 public:
  explicit LineBook(std::string path) : path_(std::move(path)) {}

  std::shared_ptr<CNContactStore> makeStore() override {
    return std::make_shared<LineStore>(path_);
  }
  std::int64_t authorizationStatus() override { return CNAuthorizationStatusAuthorized; }
  std::string localizedLabel(const std::string& label) override { return label; }

 private:
  const std::string path_;
};

// What matters comes as the failure of an operation.
class NoLog : public LogSink {
 public:
  bool wantsPlain() const override { return false; }
  bool wants(LogLevel) const override { return false; }
  void plain(std::string_view) override {}
  void leveled(LogLevel, std::string_view, std::string_view, std::string_view) override {}
};

}  // namespace host

int main(int argc, char** argv) try {
  if (argc < 3) {
    std::cerr << "Usage: " << argv[0] << " PEOPLE BACKEND\n";
    return 2;
  }
  // The component core has all the rest.
  quillfold::Platform platform = quillfold::makeLocalPlatform({});
  platform.log = std::make_shared<host::NoLog>();
  platform.contacts = std::make_shared<host::LineBook>(argv[1]);
  platform.urlSessions = std::make_shared<host::HttpSessions>(argv[2]);
  quillfold::Platform::install(platform);
  const auto account =
      quillfold::Account::open(
          {.apiKey = "key", .token = "token", .user = {.id = "ann", .email = "ann@example.com"}})
          .get();
  const auto report = account.sync().get();
  std::cout << report.read << " read, " << report.uploaded << " uploaded\n";
  for (const auto& person : account.search("ann").get().contacts)
    std::cout << person->displayName().value_or("") << '\n';
  account.close().get();
} catch (const quillfold::Failure& failure) {
  // The cause is what the book or the session has said.
  std::cerr << failure.what() << " (" << failure.cause() << ")\n";
  return 1;
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
