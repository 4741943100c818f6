#include "apps/backend/misbehaviour.h"

#include <charconv>
#include <stdexcept>
#include <utility>

#include "apps/backend/http/errors.h"

namespace quillfold::backend {
namespace {

using namespace std::chrono_literals;

const std::map<std::string, MisbehaviourKind>& kindsByName() {
  static const std::map<std::string, MisbehaviourKind> kinds = {
      {"status", MisbehaviourKind::kStatus},   {"empty", MisbehaviourKind::kEmpty},
      {"garbage", MisbehaviourKind::kGarbage}, {"delay", MisbehaviourKind::kDelay},
      {"drop", MisbehaviourKind::kDrop},       {"truncate", MisbehaviourKind::kTruncate},
  };
  return kinds;
}

int numberOf(const std::string& text) {
  int number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) {
    throw std::invalid_argument("\"" + text + "\" is not a number");
  }
  return number;
}

void setArgument(Misbehaviour& misbehaviour, const std::string& argument) {
  switch (misbehaviour.kind) {
    case MisbehaviourKind::kStatus:
    case MisbehaviourKind::kEmpty:
      misbehaviour.status = numberOf(argument);
      return;
    case MisbehaviourKind::kDelay:
      misbehaviour.delay = std::chrono::milliseconds(numberOf(argument));
      return;
    default:
      throw std::invalid_argument("this kind takes no argument");
  }
}

}  // namespace

std::optional<MisbehaviourKind> misbehaviourKind(const std::string& name) {
  const auto found = kindsByName().find(name);
  if (found == kindsByName().end()) return std::nullopt;
  return found->second;
}

PathMisbehaviour parseMisbehaviour(const std::string& text) {
  const auto equals = text.find('=');
  if (!text.starts_with('/') || equals == std::string::npos) {
    throw std::invalid_argument("a misbehaviour has the form PATH=KIND[:ARG]");
  }
  const std::string rest = text.substr(equals + 1);
  const auto colon = rest.find(':');
  const auto kind = misbehaviourKind(rest.substr(0, colon));
  if (!kind) {
    throw std::invalid_argument(
        "the kind of a misbehaviour is status, empty, garbage, delay, drop or truncate");
  }
  PathMisbehaviour parsed{text.substr(0, equals), {}};
  parsed.misbehaviour.kind = *kind;
  if (colon != std::string::npos) setArgument(parsed.misbehaviour, rest.substr(colon + 1));
  checkMisbehaviour(parsed.misbehaviour);
  return parsed;
}

void checkMisbehaviour(const Misbehaviour& misbehaviour) {
  if (misbehaviour.status != 0 && (misbehaviour.status < 200 || misbehaviour.status > 599)) {
    throw std::invalid_argument("a status is from 200 to 599");
  }
  if (misbehaviour.delay < 0ms || misbehaviour.delay > 10min) {
    throw std::invalid_argument("a delay is from 0 to 600000 milliseconds");
  }
  if (misbehaviour.times < 0) throw std::invalid_argument("times is 0 or above");
}

void Misbehaviours::set(const std::string& path, const Misbehaviour& misbehaviour) {
  const std::lock_guard lock(mutex_);
  byPath_[path] = misbehaviour;
}

void Misbehaviours::clear(const std::string& path) {
  const std::lock_guard lock(mutex_);
  byPath_.erase(path);
}

void Misbehaviours::clearAll() {
  const std::lock_guard lock(mutex_);
  byPath_.clear();
}

std::optional<Misbehaviour> Misbehaviours::next(const std::string& path) {
  const std::lock_guard lock(mutex_);
  const auto found = byPath_.find(path);
  if (found == byPath_.end()) return std::nullopt;
  const Misbehaviour misbehaviour = found->second;
  if (misbehaviour.times > 0 && --found->second.times == 0) byPath_.erase(found);
  return misbehaviour;
}

std::optional<HttpAnswer> answerInstead(const Misbehaviour& misbehaviour) {
  HttpAnswer answer;
  switch (misbehaviour.kind) {
    case MisbehaviourKind::kStatus:
      answer = HttpError(misbehaviour.status != 0 ? misbehaviour.status : 500,
                         "The backend was told to fail")
                   .answer();
      if (misbehaviour.body) answer.body = *misbehaviour.body;
      return answer;
    case MisbehaviourKind::kEmpty:
      answer.status = misbehaviour.status != 0 ? misbehaviour.status : 200;
      return answer;
    case MisbehaviourKind::kGarbage:
      answer.body = "\xff\xfe{]\"\x01\x80";
      return answer;
    default:
      return std::nullopt;
  }
}

void spoil(const Misbehaviour& misbehaviour, HttpAnswer& answer) {
  switch (misbehaviour.kind) {
    case MisbehaviourKind::kDelay:
      answer.delay = misbehaviour.delay;
      return;
    case MisbehaviourKind::kDrop:
      answer.delivery = Delivery::kDropped;
      return;
    case MisbehaviourKind::kTruncate:
      answer.delivery = Delivery::kTruncated;
      return;
    default:
      return;
  }
}

}  // namespace quillfold::backend
