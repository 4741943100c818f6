// A host that is killed at some moment: HOME BOOK BACKEND MICROSECONDS USER... syncs for one
// user after the other, and begins anew for those with a "!". With 0 microseconds it lives on.
#include <quillfold/quillfold.h>

#include <csignal>
#include <ctime>
#include <string>

using namespace quillfold;

static void killAfter(long microseconds) {
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = SIGKILL;
  timer_t timer{};
  timer_create(CLOCK_MONOTONIC, &event, &timer);
  const itimerspec at{{}, {microseconds / 1000000, microseconds % 1000000 * 1000}};
  timer_settime(timer, 0, &at, nullptr);
}

int main(int, char** argv) {
  killAfter(std::stol(argv[4]));
  Linux device{.home = argv[1], .addressBook = argv[2], .backend = argv[3]};
  for (char** word = argv + 5; *word != nullptr; ++word) {
    const std::string text = *word, user = text.substr(0, text.find('!'));
    const auto account = Account::open({.apiKey = "key",
                                        .token = "token",
                                        .user = {.id = user, .email = user + "@example.com"},
                                        .batchSize = 2})
                             .get();
    if (user != text) QFContactService::sharedInstance()->clearSyncInfoCache();
    account.sync().get();
    account.close().get();
  }
}
