// Work that ends later: awaited, continued, or waited for.
#pragma once

#include <condition_variable>
#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "account/failure.h"
#include "foundation/export.h"

namespace quillfold {

// What all operations have in common. Any thread.
class QUILLFOLD_EXPORT OperationCore {
 public:
  OperationCore() = default;
  OperationCore(const OperationCore&) = delete;
  OperationCore& operator=(const OperationCore&) = delete;

  bool isDone() const;
  // Returns once the operation is done; see Operation::get.
  void wait();
  // Puts the work on the main queue once the operation is done.
  void whenDone(std::function<void()> work);
  void onCancel(std::function<void()> cancel);
  void cancel();

 protected:
  ~OperationCore() = default;

  // Runs `store` if this is the first end; then the operation is done.
  void finish(const std::function<void()>& store);

  mutable std::mutex mutex_;

 private:
  std::condition_variable ended_;
  bool done_ = false;
  bool mainWaits_ = false;
  std::vector<std::function<void()>> whenDone_;
  std::function<void()> cancel_;
};

template <typename T>
class OperationState : public OperationCore {
 public:
  void end(Result<T> result) {
    finish([&] { result_.emplace(std::move(result)); });
  }
  // Only once it is done: nothing changes it any more.
  const Result<T>& result() const { return *result_; }

 private:
  std::optional<Result<T>> result_;
};

// Ends an operation, once; later ends are ignored. If it is let go before, the operation
// fails with AccountErrorCodeAbandoned. Any thread.
template <typename T>
class Ending {
 public:
  Ending() : owner_(std::make_shared<Owner>()) {}

  const std::shared_ptr<OperationState<T>>& state() const { return owner_->state; }
  void operator()(Result<T> result) const { state()->end(std::move(result)); }
  // For completions that give an error or none.
  bool failedWith(const ErrorPtr& error) const {
    if (error) (*this)(Failure::fromError(*error));
    return error != nullptr;
  }

 private:
  struct Owner {
    std::shared_ptr<OperationState<T>> state = std::make_shared<OperationState<T>>();
    ~Owner() {
      state->end(Failure(AccountErrorDomain, AccountErrorCodeAbandoned,
                         "The operation was given up before its end"));
    }
  };
  std::shared_ptr<Owner> owner_;
};

// Work under way. It ends exactly once, with a value or a Failure; how it was started does
// not depend on whether anybody looks. Letting go of it lets the work go on.
//
//   auto report = account.sync().get();          // waits
//   auto report = co_await account.sync();       // goes on on the main queue
//   account.sync().then([](Result<SyncReport> report) { … });   // called on the main queue
//
// A coroutine may itself return an Operation: it runs at once up to its first co_await, its
// co_return is the value, a Failure that leaves it the failure. Another exception becomes a
// Failure with its text (AccountErrorDomain, AccountErrorCodeException).
template <typename T>
class [[nodiscard]] Operation {
 public:
  explicit Operation(std::shared_ptr<OperationState<T>> state) : state_(std::move(state)) {}
  explicit Operation(const Ending<T>& ending) : Operation(ending.state()) {}
  Operation(Operation&&) noexcept = default;
  Operation& operator=(Operation&&) noexcept = default;
  ~Operation() = default;

  bool isDone() const { return state_->isDone(); }

  // The value; throws the Failure. On the thread of the main queue it runs that queue until
  // the operation has ended, on every other it waits. A main queue that can't be run from
  // here (MainQueue::canRunHere) on its own thread would never get on: that is a Failure with
  // AccountErrorCodeWouldBlock, and the work goes on.
  T get() const {
    const auto state = state_;  // What runs meanwhile may let go of this.
    state->wait();
    if constexpr (std::is_void_v<T>) {
      state->result().value();
    } else {
      return state->result().value();
    }
  }

  // Calls the handler with the end, on the main queue and never inside this call. What it
  // throws comes out of whatever runs the queue.
  void then(std::function<void(Result<T> result)> handler) const {
    state_->whenDone([state = state_, handler = std::move(handler)] { handler(state->result()); });
  }

  // Asks the work to end where it can; then it fails, or ends as its maker says. Elsewhere
  // nothing happens.
  void cancel() const { state_->cancel(); }
  // For makers of operations: what `cancel` does until the end.
  void onCancel(std::function<void()> handler) const { state_->onCancel(std::move(handler)); }

  class Awaiter {
   public:
    explicit Awaiter(std::shared_ptr<OperationState<T>> state) : state_(std::move(state)) {}
    bool await_ready() const noexcept { return false; }
    template <typename Promise>
    void await_suspend(std::coroutine_handle<Promise> caller) const {
      // Other coroutines than ours may be owned by somebody who destroys them.
      constexpr bool isOurs = requires {
        typename Promise::IsOfOperation;
      };
      state_->whenDone(
          [suspended = std::make_shared<Suspended>(caller, isOurs)] { suspended->resume(); });
    }
    T await_resume() const { return Operation(state_).get(); }

   private:
    // A coroutine that goes with the queue that was to resume it.
    class Suspended {
     public:
      Suspended(std::coroutine_handle<> caller, bool owned) : caller_(caller), owned_(owned) {}
      Suspended(const Suspended&) = delete;
      Suspended& operator=(const Suspended&) = delete;
      ~Suspended() {
        if (owned_ && caller_) caller_.destroy();
      }
      void resume() { std::exchange(caller_, nullptr).resume(); }

     private:
      std::coroutine_handle<> caller_;
      const bool owned_;
    };

    std::shared_ptr<OperationState<T>> state_;
  };
  Awaiter operator co_await() const { return Awaiter(state_); }

  class promise_type;

 private:
  std::shared_ptr<OperationState<T>> state_;
};

namespace detail {

// That of the exception that is being handled.
QUILLFOLD_EXPORT Failure failureOfException();

template <typename T>
class OperationPromise {
 public:
  using IsOfOperation = void;

  Operation<T> get_return_object() const { return Operation<T>(ending_); }
  std::suspend_never initial_suspend() const noexcept { return {}; }
  // Ends the operation only here, where the coroutine has let go of its local variables.
  std::suspend_never final_suspend() noexcept {
    ending_(*std::move(result_));
    return {};
  }
  void unhandled_exception() { result_.emplace(failureOfException()); }

 protected:
  std::optional<Result<T>> result_;

 private:
  Ending<T> ending_;
};

}  // namespace detail

template <typename T>
class Operation<T>::promise_type : public detail::OperationPromise<T> {
 public:
  void return_value(T value) { this->result_.emplace(std::move(value)); }
};

template <>
class Operation<void>::promise_type : public detail::OperationPromise<void> {
 public:
  void return_void() { result_.emplace(std::monostate()); }
};

}  // namespace quillfold
