#include "apps/quillfold/terminal_interface.h"

#include <iostream>

#include "apps/quillfold/terminal.h"

namespace host {

using namespace quillfold;

void TerminalInterface::presentAlert(UIViewController&, std::shared_ptr<UIAlertController> alert,
                                     bool) {
  if (!onTerminal()) return;
  std::cerr << alert->title() << '\n' << alert->message() << '\n';
  const auto& actions = alert->actions();
  for (std::size_t i = 0; i < actions.size(); ++i)
    std::cerr << "  " << i + 1 << "  " << actions[i].title << '\n';
  const auto chosen = answerTo(">", interrupted_);
  for (std::size_t i = 0; i < actions.size(); ++i) {
    const auto handler = actions[i].handler;
    if (chosen == std::to_string(i + 1) && handler) handler();
  }
}

bool TerminalInterface::canOpenURL(const std::string& url) {
  return url == UIApplicationOpenSettingsURLString;
}

void TerminalInterface::openURL(const std::string&) {
  openSettings_();
}

}  // namespace host
