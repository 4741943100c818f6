#include "apps/quillfold/terminal.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <iostream>

namespace host {

using namespace quillfold;

namespace {

// What there is on standard input; "" at its end, absent once `other` is readable, and after so
// many milliseconds unless that is -1.
std::optional<std::string> readInput(int other, int milliseconds = -1) {
  std::array<pollfd, 2> inputs{{{STDIN_FILENO, POLLIN, 0}, {other, POLLIN, 0}}};
  while (poll(inputs.data(), inputs.size(), milliseconds) < 0 && errno == EINTR) {
  }
  if (inputs[1].revents != 0 || inputs[0].revents == 0) return std::nullopt;
  std::array<char, 256> bytes;
  const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
  return std::string(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
}

std::string coloredOn(int descriptor, const std::string& text, Color color) {
  constexpr const char* kCodes[] = {"", "1", "31", "32", "33"};
  const char* off = std::getenv("NO_COLOR");
  const char* kind = std::getenv("TERM");
  const bool plain = (off != nullptr && *off != '\0') || kind == nullptr ||
                     std::string_view(kind) == "dumb" || isatty(descriptor) == 0;
  if (plain || color == Color::None) return text;
  return std::string("\x1b[") + kCodes[static_cast<int>(color)] + 'm' + text + "\x1b[0m";
}

constexpr std::string_view kOwnScreen = "\x1b[?1049h";
constexpr std::string_view kCommonScreen = "\x1b[?25h\x1b[?1049l";

// A terminal sends a sequence at once, but not always in one piece.
constexpr int kSequencePause = 50;

// Whether the rest of a sequence may be on its way: ESC, ESC [ and numbers, or ESC O.
bool endsInSequence(const std::string& bytes) {
  const auto start = bytes.rfind('\x1b');
  if (start == std::string::npos) return false;
  const std::string rest = bytes.substr(start + 1);
  if (rest.empty() || rest == "O") return true;
  return rest[0] == '[' && rest.find_first_not_of("0123456789;", 1) == std::string::npos;
}

termios before;
termios raw;
std::atomic<bool> changed = false;
// Readable once the reader of keys has something to look at.
std::atomic<int> woken = -1;
std::atomic<bool> redraw = false;

void writeToTerminal(std::string_view text) {
  static_cast<void>(!write(STDERR_FILENO, text.data(), text.size()));
}

// A crash is no reason to leave the terminal as it is.
void restoreAndDie(int signal) {
  restoreTerminal();
  std::signal(signal, SIG_DFL);
  raise(signal);
}

void takeTerminal() {
  tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  changed = true;
  writeToTerminal(kOwnScreen);
}

void askForDrawing(int) {
  const int error = errno;
  const std::uint64_t one = 1;
  redraw = true;
  static_cast<void>(!write(woken, &one, sizeof one));
  errno = error;
}

void pauseOutside(int signal) {
  const int error = errno;
  restoreTerminal();
  raise(SIGSTOP);
  takeTerminal();
  askForDrawing(signal);
  errno = error;
}

std::vector<int> deadlySignals() {
  std::vector<int> signals{SIGABRT, SIGSEGV, SIGBUS,    SIGFPE,  SIGILL,  SIGTRAP, SIGSYS,
                           SIGALRM, SIGPROF, SIGVTALRM, SIGXCPU, SIGPOLL, SIGPWR,  SIGSTKFLT};
  for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal)
    signals.push_back(signal);
  return signals;
}

}  // namespace

bool onTerminal() {
  return isatty(STDIN_FILENO) != 0 && isatty(STDERR_FILENO) != 0;
}

std::optional<std::string> answerTo(const std::string& question, int interrupted) {
  std::cerr << question << ' ' << std::flush;
  auto line = readInput(interrupted);
  if (!line || line->empty()) return std::nullopt;
  while (!line->empty() && (line->back() == '\n' || line->back() == '\r'))
    line->pop_back();
  return line;
}

std::optional<bool> confirms(const std::string& question, int interrupted) {
  const auto answer = answerTo(question + " [y/N]", interrupted);
  if (!answer) return std::nullopt;
  return *answer == "y" || *answer == "Y" || *answer == "yes";
}

std::string colored(const std::string& text, Color color) {
  return coloredOn(STDOUT_FILENO, text, color);
}

std::string coloredError(const std::string& text, Color color) {
  return coloredOn(STDERR_FILENO, text, color);
}

TerminalSize terminalSize() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0) return {};
  return {size.ws_row, size.ws_col};
}

void restoreTerminal() {
  if (!changed.exchange(false)) return;
  tcsetattr(STDIN_FILENO, TCSANOW, &before);
  writeToTerminal(kCommonScreen);
}

KeyTerminal::KeyTerminal(Handler handler)
    : handler_(std::make_shared<const Handler>(std::move(handler))),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  tcgetattr(STDIN_FILENO, &before);
  raw = before;
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  // Its key is a key as others are.
  raw.c_cc[VSUSP] = _POSIX_VDISABLE;
  woken = wake_;
  takeTerminal();
  for (const int signal : deadlySignals())
    std::signal(signal, restoreAndDie);
  std::signal(SIGWINCH, askForDrawing);
  std::signal(SIGTSTP, pauseOutside);
  reader_ = std::thread([this] { readKeys(); });
}

void KeyTerminal::readKeys() {
  const auto tell = [weak = std::weak_ptr(handler_)](const std::optional<std::string>& keys) {
    Platform::current().mainQueue->async([weak, keys] {
      if (const auto called = weak.lock()) (*called)(keys);
    });
  };
  for (bool goesOn = true; goesOn;) {
    auto keys = readInput(wake_);
    while (keys && endsInSequence(*keys)) {
      const auto rest = readInput(wake_, kSequencePause);
      if (!rest || rest->empty()) break;
      *keys += *rest;
    }
    if (keys) {
      goesOn = !keys->empty();
      tell(keys);
      continue;
    }
    eventfd_t count = 0;
    eventfd_read(wake_, &count);
    if (redraw.exchange(false)) tell(std::nullopt);
    goesOn = !ends_;
  }
}

KeyTerminal::~KeyTerminal() {
  std::signal(SIGWINCH, SIG_DFL);
  std::signal(SIGTSTP, SIG_DFL);
  ends_ = true;
  eventfd_write(wake_, 1);
  reader_.join();
  restoreTerminal();
  // Signals that are being taken may still write to it: it stays open.
}

}  // namespace host
