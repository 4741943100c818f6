// A host on an Asio loop: keeps an address book uploaded until it is interrupted.
//
//   quillfold-asio-host BOOK [BACKEND]
#include <quillfold/loops/asio.h>
#include <quillfold/quillfold.h>

#include <asio/executor_work_guard.hpp>
#include <asio/signal_set.hpp>
#include <csignal>
#include <iostream>

namespace {

// Of the runs that the library starts by itself when the address book changes.
void tell(const quillfold::AccountChange& change) {
  if (change.failure)
    std::cerr << "Not synced: " << change.failure->what() << '\n';
  else if (change.report)
    std::cout << change.report->uploaded << " uploaded" << std::endl;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 2) {
    std::cerr << "Usage: " << argv[0] << " BOOK [BACKEND]\n";
    return 2;
  }
  // Ends behind Account::close; until then the library posts to it.
  asio::io_context context;
  const auto work = asio::make_work_guard(context);
  const quillfold::Linux device{
      .addressBook = argv[1],
      .backend = argc > 2 ? argv[2] : "",
      .mainQueue = std::make_shared<quillfold::loops::AsioQueue>(context)};

  // Waiting runs the context meanwhile.
  const auto account =
      quillfold::Account::open(
          {.apiKey = "key", .token = "token", .user = {.id = "ann", .email = "ann@example.com"}})
          .get();
  std::cout << account.sync().get().uploaded << " uploaded" << std::endl;
  const auto watching = account.onChange(tell);

  asio::signal_set signals(context, SIGINT, SIGTERM);
  signals.async_wait([&](const asio::error_code& error, int) {
    if (error) throw std::system_error(error);
    account.close().then([&](const quillfold::Result<void>& closed) {
      context.stop();
      closed.value();  // Throws out of `run` what went wrong.
    });
  });
  context.run();
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}
