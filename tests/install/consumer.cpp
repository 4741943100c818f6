#include <quillfold/quillfold.h>

#include <iostream>

// Syncs a book: consumer BOOK BACKEND
int main(int, char** argv) try {
  const quillfold::Linux device{.addressBook = argv[1], .backend = argv[2]};
  const auto account =
      quillfold::Account::open(
          {.apiKey = "key", .token = "token", .user = {.id = "ann", .email = "ann@example.com"}})
          .get();
  std::cout << account.sync().get().uploaded << " uploaded\n";
  account.close().get();
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
