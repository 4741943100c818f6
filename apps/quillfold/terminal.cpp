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

// What there is on standard input; "" at its end, absent once `other` is readable.
std::optional<std::string> readInput(int other) {
  std::array<pollfd, 2> inputs{{{STDIN_FILENO, POLLIN, 0}, {other, POLLIN, 0}}};
  while (poll(inputs.data(), inputs.size(), -1) < 0 && errno == EINTR) {
  }
  if (inputs[1].revents != 0) return std::nullopt;
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

termios before;
std::atomic<bool> changed = false;

void writeToTerminal(std::string_view text) {
  static_cast<void>(!write(STDERR_FILENO, text.data(), text.size()));
}

// A crash is no reason to leave the terminal as it is.
void restoreAndDie(int signal) {
  restoreTerminal();
  std::signal(signal, SIG_DFL);
  raise(signal);
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
      stop_(eventfd(0, EFD_CLOEXEC)) {
  tcgetattr(STDIN_FILENO, &before);
  termios raw = before;
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  // There is no coming back from a pause to a screen of its own.
  raw.c_cc[VSUSP] = _POSIX_VDISABLE;
  tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  changed = true;
  for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGALRM,
                           SIGVTALRM, SIGPROF, SIGXCPU})
    std::signal(signal, restoreAndDie);
  writeToTerminal(kOwnScreen);
  reader_ = std::thread([stop = stop_, weak = std::weak_ptr(handler_)] {
    for (std::optional<std::string> keys = ""; keys;) {
      keys = readInput(stop);
      if (!keys) return;
      Platform::current().mainQueue->async([weak, typed = *keys] {
        if (const auto called = weak.lock()) (*called)(typed);
      });
      if (keys->empty()) return;
    }
  });
}

KeyTerminal::~KeyTerminal() {
  eventfd_write(stop_, 1);
  reader_.join();
  close(stop_);
  restoreTerminal();
}

}  // namespace host
