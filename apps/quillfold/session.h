// The library as this program runs it: the Linux device and one signed-in user.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "apps/quillfold/interrupts.h"
#include "apps/quillfold/observed_scheduler.h"
#include "apps/quillfold/options.h"
#include "quillfold/quillfold.h"

namespace host {

class Session {
 public:
  // Brings the device up. Once per process, before anything else of the library.
  explicit Session(const Options& options);

  const Options& options() const { return options_; }
  const Interrupts& interrupts() const { return interrupts_; }
  // The part of a list that the command line asks for.
  quillfold::Page page(std::int64_t usualLimit) const;

  // The user's account, opened by the first call. Throws Failure and Interrupted.
  quillfold::Account& account();
  // Stops what the account has under way, whoever began it, waits for it, and closes the
  // account, also one that is still opening.
  void close();
  // Where somebody looks at the account's changes, from the opening on; nothing of them is
  // for `takeRuns` then.
  std::function<void(const quillfold::AccountChange& change)> onChange;
  // What the runs have done together since the opening or the last call; absent without one.
  std::optional<quillfold::SyncReport> takeRuns() { return std::exchange(runs_, std::nullopt); }
  // What the settings have of the user under a key; absent where another one was signed in
  // last.
  quillfold::OptionalString kept(const char* key) const;
  // What needs no backend: the facade as it is before its start, with the bookkeeping of the
  // user. Changes nothing on the disk but a file of it that is torn, which is restored.
  quillfold::QFContactService& records();
  // The same once the bookkeeping is read. Throws Failure if it can't be.
  quillfold::QFContactService& readRecords();
  // Asks for access to the contacts, unless that has been decided, and looks at the address
  // book. Throws Failure without access and without a book.
  void requestAccess();
  // Throws Failure if there is no address book where it should be.
  void requireBook() const;
  quillfold::LinuxContacts& contacts() const;
  // Where requests really go.
  std::string address() const;

  // What the operation ends with. Throws its Failure, and Interrupted as soon as a signal has
  // come; the work goes on then.
  template <typename T>
  T wait(const quillfold::Operation<T>& operation) {
    // Wakes the main queue, on whichever thread the end comes.
    operation.then([](const quillfold::Result<T>&) {});
    runUntil([&operation] { return operation.isDone(); });
    if (!operation.isDone()) throw Interrupted();
    return operation.get();
  }
  // The same for an operation with a completion, which `start` is to call.
  template <typename T, typename Start>
  T answerOf(Start start) {
    const quillfold::Ending<T> ending;
    start(ending);
    return wait(quillfold::Operation<T>(ending));
  }

  // Runs the main queue until the predicate holds, a signal has come or the time is over.
  void runUntil(const std::function<bool()>& predicate, double seconds = kForever);

  // The scheduler of deferred tasks.
  ObservedScheduler& tasks() const { return *tasks_; }

 private:
  static constexpr double kForever = 1e9;

  quillfold::Linux makeDevice();
  void askForAccess(const std::function<void(bool granted)>& answer) const;
  bool offerSettings();
  void take(const quillfold::AccountChange& change);

  const Options options_;
  Interrupts interrupts_;
  std::shared_ptr<ObservedScheduler> tasks_;
  quillfold::Linux device_;
  std::optional<quillfold::Operation<quillfold::Account>> opening_;
  std::optional<quillfold::Account> account_;
  std::optional<quillfold::SyncReport> runs_;
};

}  // namespace host
