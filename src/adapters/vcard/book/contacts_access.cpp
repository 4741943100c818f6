#include "adapters/vcard/book/contacts_access.h"

#include <atomic>

#include "adapters/vcard/book/contacts_error.h"

namespace quillfold {

namespace {

constexpr const char* kStatusKey = "quillfold.platform.contacts.access";

}  // namespace

// What the host holds while it asks. Letting go of it must not leave a caller waiting.
struct ContactsAccess::Answer {
  explicit Answer(std::shared_ptr<ContactsAccess> owner) : access(std::move(owner)) {}
  ~Answer() { conclude(std::nullopt); }
  Answer(const Answer&) = delete;
  Answer& operator=(const Answer&) = delete;

  void conclude(std::optional<bool> granted) {
    if (!given.exchange(true)) access->conclude(granted);
  }

  const std::shared_ptr<ContactsAccess> access;
  std::atomic<bool> given = false;
};

ContactsAccess::ContactsAccess(Question question, std::shared_ptr<NSUserDefaults> defaults,
                               std::shared_ptr<DispatchQueue> queue)
    : question_(std::move(question)), defaults_(std::move(defaults)), queue_(std::move(queue)) {}

std::int64_t ContactsAccess::status() {
  {
    const std::lock_guard lock(mutex_);
    if (unsaved_) return *unsaved_;
  }
  const std::optional<Value> saved = defaults_ ? defaults_->objectForKey(kStatusKey) : std::nullopt;
  const std::int64_t* number = saved ? saved->asInteger() : nullptr;
  return number ? *number : CNAuthorizationStatusNotDetermined;
}

void ContactsAccess::setStatus(std::int64_t status) {
  if (defaults_ && status == CNAuthorizationStatusNotDetermined) {
    defaults_->removeObjectForKey(kStatusKey);
  } else if (defaults_) {
    defaults_->setObject(status, kStatusKey);
  }
  const std::lock_guard lock(mutex_);
  unsaved_ = defaults_ ? std::nullopt : std::optional(status);
}

std::optional<bool> ContactsAccess::decision() {
  const std::int64_t current = status();
  if (current == CNAuthorizationStatusNotDetermined) return std::nullopt;
  return current == CNAuthorizationStatusAuthorized;
}

void ContactsAccess::request(Completion completion) {
  if (const auto decided = decision()) return deliver(std::move(completion), *decided);
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(completion));
    if (waiting_.size() > 1) return;
  }
  // The question before this one may have been answered since.
  if (const auto decided = decision()) return answer(*decided);
  ask();
}

void ContactsAccess::ask() {
  if (question_) {
    const auto answer = std::make_shared<Answer>(shared_from_this());
    return question_([answer](bool granted) { answer->conclude(granted); });
  }
  {
    // Nobody has decided, so this is not remembered: a later run may be able to ask.
    const std::lock_guard lock(mutex_);
    unsaved_ = CNAuthorizationStatusDenied;
  }
  conclude(std::nullopt);
}

void ContactsAccess::conclude(std::optional<bool> granted) {
  if (granted) {
    setStatus(*granted ? CNAuthorizationStatusAuthorized : CNAuthorizationStatusDenied);
  }
  answer(granted.value_or(false));
}

void ContactsAccess::answer(bool granted) {
  std::vector<Completion> completions;
  {
    const std::lock_guard lock(mutex_);
    completions.swap(waiting_);
  }
  for (Completion& completion : completions)
    deliver(std::move(completion), granted);
}

void ContactsAccess::deliver(Completion completion, bool granted) {
  if (!completion) return;
  queue_->async([completion = std::move(completion), granted] {
    completion(granted, granted ? nullptr : accessDeniedError());
  });
}

}  // namespace quillfold
