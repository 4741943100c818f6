// Faults that the backend commits when told to.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "apps/backend/http/exchange.h"

namespace quillfold::backend {

enum class MisbehaviourKind {
  kStatus,    // Answers a status, with a body; nothing else is done.
  kEmpty,     // Answers a status without a body; nothing else is done.
  kGarbage,   // Answers 200 with bytes that are neither JSON nor text; nothing else is done.
  kDelay,     // Does what was asked and answers late.
  kDrop,      // Does what was asked and closes the connection without an answer.
  kTruncate,  // Does what was asked and closes the connection amid the answer.
};

struct Misbehaviour {
  MisbehaviourKind kind = MisbehaviourKind::kStatus;
  int status = 0;                        // Of kStatus and kEmpty; 0: 500 and 200.
  std::chrono::milliseconds delay{0};    // Of kDelay.
  std::optional<std::string> body = {};  // Of kStatus; absent: a JSON error.
  int times = 0;                         // Requests until it ends by itself; 0: never.
};

// The kind of a name such as "status"; absent if there is none.
std::optional<MisbehaviourKind> misbehaviourKind(const std::string& name);

struct PathMisbehaviour {
  std::string path;
  Misbehaviour misbehaviour;
};

// Reads PATH=KIND[:ARG]; ARG is the status, or the milliseconds of a delay.
// Throws std::invalid_argument with a text for the user.
PathMisbehaviour parseMisbehaviour(const std::string& text);

// Throws std::invalid_argument if a value is out of its range: status 200 to
// 599, delay 0 to 10 minutes, times 0 or above.
void checkMisbehaviour(const Misbehaviour& misbehaviour);

// What is set for which path. May be used from any thread.
class Misbehaviours {
 public:
  // Takes the place of what was set for the path.
  void set(const std::string& path, const Misbehaviour& misbehaviour);
  void clear(const std::string& path);
  void clearAll();

  // What to do on this request, counting it.
  std::optional<Misbehaviour> next(const std::string& path);

 private:
  std::mutex mutex_;
  std::map<std::string, Misbehaviour> byPath_;
};

// The answer that takes the place of the real one; absent if the request is to
// be carried out.
std::optional<HttpAnswer> answerInstead(const Misbehaviour& misbehaviour);
// Spoils the delivery of the real answer.
void spoil(const Misbehaviour& misbehaviour, HttpAnswer& answer);

}  // namespace quillfold::backend
