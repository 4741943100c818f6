#include "apps/quillfold/terminal_interface.h"

#include <unistd.h>

#include <iostream>

namespace host {

using namespace quillfold;

bool onTerminal() {
  return isatty(STDIN_FILENO) != 0 && isatty(STDERR_FILENO) != 0;
}

bool confirms(const std::string& question) {
  std::cerr << question << " [y/N] " << std::flush;
  std::string line;
  std::getline(std::cin, line);
  return line == "y" || line == "Y" || line == "yes";
}

void TerminalInterface::presentAlert(UIViewController&, std::shared_ptr<UIAlertController> alert,
                                     bool) {
  if (!onTerminal()) return;
  std::cerr << alert->title() << '\n' << alert->message() << '\n';
  const auto& actions = alert->actions();
  for (std::size_t i = 0; i < actions.size(); ++i) {
    std::cerr << "  " << i + 1 << "  " << actions[i].title << '\n';
  }
  std::cerr << "> " << std::flush;
  std::string line;
  std::getline(std::cin, line);
  for (std::size_t i = 0; i < actions.size(); ++i) {
    const auto handler = actions[i].handler;
    if (line == std::to_string(i + 1) && handler) handler();
  }
}

bool TerminalInterface::canOpenURL(const std::string& url) {
  return url == UIApplicationOpenSettingsURLString;
}

void TerminalInterface::openURL(const std::string&) {
  openSettings_();
}

}  // namespace host
