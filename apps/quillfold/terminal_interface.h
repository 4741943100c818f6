// The library's alert as a question on the terminal.
#pragma once

#include <functional>

#include "quillfold/quillfold.h"

namespace host {

class TerminalInterface : public quillfold::UserInterface {
 public:
  // `openSettings` is what this program has for the system's settings; the descriptor is
  // readable when the user has had enough.
  TerminalInterface(std::function<void()> openSettings, int interrupted)
      : openSettings_(std::move(openSettings)), interrupted_(interrupted) {}

  // Blocks until the user has chosen. Without a terminal the alert is cancelled.
  void presentAlert(quillfold::UIViewController& from,
                    std::shared_ptr<quillfold::UIAlertController> alert, bool animated) override;
  bool canOpenURL(const std::string& url) override;
  void openURL(const std::string& url) override;

 private:
  const std::function<void()> openSettings_;
  const int interrupted_;
};

}  // namespace host
