// The permission to read the address book.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/contact_store.h"
#include "platform/dispatch.h"
#include "platform/user_defaults.h"

namespace quillfold {

// Safe to use from any thread. See VCardContactsOptions for the members.
class ContactsAccess : public std::enable_shared_from_this<ContactsAccess> {
 public:
  using Question = std::function<void(std::function<void(bool granted)> answer)>;
  using Completion = CNContactStore::AccessCompletion;

  ContactsAccess(Question question, std::shared_ptr<NSUserDefaults> defaults,
                 std::shared_ptr<DispatchQueue> queue);

  // A CNAuthorizationStatus; numbers that are none pass through.
  std::int64_t status();
  void setStatus(std::int64_t status);

  // Answers on the queue; asks first if nothing is decided. Requests that come while
  // the question is open share its answer. A refusal comes with an error, code
  // CNErrorCodeAuthorizationDenied.
  void request(Completion completion);

 private:
  struct Answer;

  // Absent while nothing is decided.
  std::optional<bool> decision();
  void ask();
  // Ends the open question; without an answer nothing is decided.
  void conclude(std::optional<bool> granted);
  // Gives those that wait the answer.
  void answer(bool granted);
  void deliver(Completion completion, bool granted);

  const Question question_;
  const std::shared_ptr<NSUserDefaults> defaults_;
  const std::shared_ptr<DispatchQueue> queue_;

  std::mutex mutex_;
  std::optional<std::int64_t> unsaved_;  // What the defaults don't hold.
  std::vector<Completion> waiting_;      // Not empty: the question is open.
};

}  // namespace quillfold
