// How the host shows things.
#pragma once

#include <memory>
#include <string>

#include "foundation/export.h"

namespace quillfold {

class UIAlertController;
class UIViewController;

// The address that stands for the application's page in the system's settings.
inline constexpr const char* UIApplicationOpenSettingsURLString = "app-settings:";

// How the host shows things; part of the installed platform. Called on the main
// queue.
class QUILLFOLD_EXPORT UserInterface {
 public:
  virtual ~UserInterface() = default;
  virtual void presentAlert(UIViewController& from, std::shared_ptr<UIAlertController> alert,
                            bool animated) = 0;
  virtual bool canOpenURL(const std::string& url) = 0;
  virtual void openURL(const std::string& url) = 0;
};

}  // namespace quillfold
