// How the operations of an account fail.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "foundation/error.h"
#include "foundation/export.h"

namespace quillfold {

// Failures of the account itself; all others keep the domain and the code of where they
// come from (QFErrorDomain, QFAPIErrorDomain, NSURLErrorDomain, CNErrorDomain, …).
inline constexpr const char* AccountErrorDomain = "com.quillfold.account";
enum AccountErrorCode : std::int64_t {
  // An account is open in this process.
  AccountErrorCodeAlreadyOpen = 1,
  // Another process holds this home; the text has its number.
  AccountErrorCodeHomeInUse = 2,
  // The account has been closed.
  AccountErrorCodeClosed = 3,
  // A member of the configuration that can't be; the text names it.
  AccountErrorCodeInvalidConfiguration = 4,
  // `get` where nothing could ever end the operation.
  AccountErrorCodeWouldBlock = 5,
  // Whoever was to end the operation has gone.
  AccountErrorCodeAbandoned = 6,
  // A coroutine of the host's was left by an exception that is no Failure.
  AccountErrorCodeException = 7,
};

// A failure with its domain, its code within it, its text (`what` as well) and, where the
// network failed, the address that was asked. Immutable; a copy costs a reference.
class QUILLFOLD_EXPORT Failure : public std::exception {
 public:
  Failure(std::string domain, std::int64_t code, std::string text, std::string address = {},
          std::int64_t statusCode = 0, std::string cause = {})
      : contents_(std::make_shared<const Contents>(Contents{std::move(domain), code,
                                                            std::move(text), std::move(address),
                                                            statusCode, std::move(cause)})) {}
  // The error as it is, with the address of the transport failure underneath.
  static Failure fromError(const NSError& error);

  const char* what() const noexcept override { return contents_->text.c_str(); }
  const std::string& domain() const { return contents_->domain; }
  std::int64_t code() const { return contents_->code; }
  const std::string& text() const { return contents_->text; }
  // Empty unless the network failed.
  const std::string& address() const { return contents_->address; }
  // Of a refusal by the backend that has a text; 0 for every other failure.
  std::int64_t statusCode() const { return contents_->statusCode; }
  // What the failure underneath says, such as which file can't be read; empty without one.
  const std::string& cause() const { return contents_->cause; }

 private:
  struct Contents {
    std::string domain;
    std::int64_t code;
    std::string text;
    std::string address;
    std::int64_t statusCode;
    std::string cause;
  };
  std::shared_ptr<const Contents> contents_;
};

// The end of an operation: a value, or a failure. `T` may be void.
template <typename T>
class Result {
 public:
  using Value = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

  Result(Value value) : end_(std::in_place_index<0>, std::move(value)) {}
  Result(Failure failure) : end_(std::in_place_index<1>, std::move(failure)) {}

  explicit operator bool() const { return end_.index() == 0; }
  // Throws the failure where there is one.
  const Value& value() const {
    if (const Failure* failure = std::get_if<1>(&end_)) throw *failure;
    return std::get<0>(end_);
  }
  const Value& operator*() const { return value(); }
  const Value* operator->() const { return &value(); }
  // Only of a result without a value.
  const Failure& failure() const { return std::get<1>(end_); }

 private:
  std::variant<Value, Failure> end_;
};

}  // namespace quillfold
