// account_program HOME BOOK BACKEND USER [hold]: syncs and prints how many went up, or what
// failed. "hold" keeps the account until the process is killed.
#include <quillfold/quillfold.h>

#include <iostream>

using namespace quillfold;

int main(int, char** arguments) try {
  const Linux device{.home = arguments[1], .addressBook = arguments[2], .backend = arguments[3]};
  const auto account = Account::open({.apiKey = "key",
                                      .token = "token",
                                      .user = {.id = arguments[4], .phone = "1"},
                                      .batchSize = 1})
                           .get();
  std::cout << account.sync().get().uploaded << std::endl;
  if (arguments[5] != nullptr) device.queue->run();
  account.close().get();
} catch (const Failure& failure) {
  std::cout << failure.domain() << ' ' << failure.code() << ": " << failure.text() << std::endl;
}
