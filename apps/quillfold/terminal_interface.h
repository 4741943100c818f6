// The library's alert as a question on the terminal.
#pragma once

#include <functional>

#include "quillfold/quillfold.h"

namespace host {

class TerminalInterface : public quillfold::UserInterface {
 public:
  // `openSettings` is what this program has for the system's settings.
  explicit TerminalInterface(std::function<void()> openSettings)
      : openSettings_(std::move(openSettings)) {}

  // Blocks until the user has chosen. Without a terminal the alert is cancelled.
  void presentAlert(quillfold::UIViewController& from,
                    std::shared_ptr<quillfold::UIAlertController> alert, bool animated) override;
  bool canOpenURL(const std::string& url) override;
  void openURL(const std::string& url) override;

 private:
  std::function<void()> openSettings_;
};

// Whether there is somebody to ask.
bool onTerminal();
// Asks for a yes.
bool confirms(const std::string& question);

}  // namespace host
