// What the device and the host application say of themselves.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "foundation/export.h"

namespace quillfold {

enum UIDeviceBatteryState : std::int64_t {
  UIDeviceBatteryStateUnknown = 0,
  UIDeviceBatteryStateUnplugged = 1,
  UIDeviceBatteryStateCharging = 2,
  UIDeviceBatteryStateFull = 3,
};

// The main screen in points, and the factor from points to pixels.
struct UIScreen {
  double width = 0;
  double height = 0;
  double scale = 0;
};

// Facts about the application; what is absent falls back to fixed texts.
struct NSBundle {
  std::optional<std::string> shortVersionString;
  std::optional<std::string> bundleVersion;
  std::optional<std::string> bundleIdentifier;
};

// Read once for each API client, on the thread that makes it.
class QUILLFOLD_EXPORT DeviceData {
 public:
  virtual ~DeviceData() = default;

  // The `machine` field of uname.
  virtual std::string machine() = 0;
  virtual std::string systemName() = 0;
  virtual std::string systemVersion() = 0;

  // The battery is read between a call with true and one with false.
  virtual void setBatteryMonitoringEnabled(bool enabled) = 0;
  // From 0 to 1; negative when unknown.
  virtual float batteryLevel() = 0;
  virtual std::int64_t batteryState() = 0;

  // Absent without a screen.
  virtual std::optional<UIScreen> mainScreen() = 0;
  virtual NSBundle mainBundle() = 0;

  virtual std::string localeIdentifier() = 0;
  virtual std::string timeZoneName() = 0;
  // In bytes; absent if the system does not tell.
  virtual std::optional<std::uint64_t> physicalMemory() = 0;
  virtual std::optional<std::uint64_t> processorCount() = 0;
};

}  // namespace quillfold
