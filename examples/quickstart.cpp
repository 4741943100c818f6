#include <quillfold/quillfold.h>

#include <iostream>

int main(int count, char** words) try {
  quillfold::Linux device{.addressBook = count > 1 ? words[1] : "contacts.vcf"};
  auto account =
      quillfold::Account::open(
          {.apiKey = "key", .token = "token", .user = {.id = "ann", .email = "ann@example.com"}})
          .get();
  std::cout << account.sync().get().uploaded << " uploaded\n";
  for (const auto& contact : account.search("al ar").get().contacts)
    std::cout << contact->displayName().value_or("") << '\n';
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
