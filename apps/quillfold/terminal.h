// The terminal: who is there, keys one by one, colours.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "quillfold/quillfold.h"

namespace host {

// Whether there is somebody to ask.
bool onTerminal();
// Asks on standard error. Absent at the end of the input, and once `interrupted` is readable.
std::optional<std::string> answerTo(const std::string& question, int interrupted);
// Whether the answer was a yes; absent without one.
std::optional<bool> confirms(const std::string& question, int interrupted);

enum class Color { None, Bold, Red, Green, Yellow };
// The text in that colour where standard output, or the error channel, is a terminal and
// NO_COLOR is not set, or empty.
std::string colored(const std::string& text, Color color);
std::string coloredError(const std::string& text, Color color);

struct TerminalSize {
  std::size_t rows = 24;
  std::size_t columns = 80;
};
TerminalSize terminalSize();

// The terminal as it was before a KeyTerminal, from any thread and from signal handlers.
void restoreTerminal();

// The terminal with a screen of its own, and with each key at once and without an echo, as
// long as it lives. One at a time. A thread reads the keys and hands them to the main queue.
class KeyTerminal {
 public:
  // The bytes of one key or of several that were typed at once; "" at the end of the input,
  // absent where the screen has to be drawn again.
  using Handler = std::function<void(const std::optional<std::string>& keys)>;

  explicit KeyTerminal(Handler handler);
  ~KeyTerminal();
  KeyTerminal(const KeyTerminal&) = delete;
  KeyTerminal& operator=(const KeyTerminal&) = delete;

 private:
  void readKeys();

  const std::shared_ptr<const Handler> handler_;
  const int wake_;
  std::atomic<bool> ends_ = false;
  std::thread reader_;
};

}  // namespace host
