// An account in coroutines: work that reads from top to bottom and blocks no thread.
//
//   quillfold-coroutine BOOK [BACKEND]
#include <quillfold/quillfold.h>

#include <iostream>

namespace {

using quillfold::Account;
using quillfold::Failure;
using quillfold::Operation;

// Whom to invite; nobody where the backend has no answer, which is no reason to stop.
Operation<std::vector<std::string>> invitees(Account account) {
  std::vector<std::string> names;
  try {
    for (const auto& person : co_await account.peopleToInvite(5))
      names.push_back(person->contact()->displayName().value_or("?"));
  } catch (const Failure& failure) {
    std::cerr << "Nobody to invite: " << failure.what() << '\n';
  }
  co_return names;
}

Operation<void> visit(quillfold::AccountConfiguration configuration) {
  const Account account = co_await Account::open(std::move(configuration));

  // Both are under way at once; a failure of the sync leaves this coroutine.
  const auto syncing = account.sync();
  const auto asking = invitees(account);
  const auto report = co_await syncing;
  std::cout << report.read << " read, " << report.uploaded << " uploaded\n";
  for (const auto& name : co_await asking)
    std::cout << "Invite " << name << '\n';

  co_await account.close();
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 2) {
    std::cerr << "Usage: " << argv[0] << " BOOK [BACKEND]\n";
    return 2;
  }
  const quillfold::Linux device{.addressBook = argv[1], .backend = argc > 2 ? argv[2] : ""};
  // The coroutines go on on the main queue, which this runs.
  visit({.apiKey = "key", .token = "token", .user = {.id = "ann", .email = "ann@example.com"}})
      .get();
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
