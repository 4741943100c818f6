// What the backend is told about the device.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "foundation/export.h"
#include "foundation/property.h"
#include "foundation/value.h"

namespace quillfold {

// A snapshot of the device and the host application, taken when it is made and
// never changed. Reading it is safe from any thread.
class QUILLFOLD_EXPORT QFDeviceInfo {
 public:
  // Reads everything on the calling thread; makes the device identifier if this
  // installation has none.
  static std::shared_ptr<const QFDeviceInfo> init();

  // All fields as JSON, under snake-case keys; what is absent is left out.
  Dictionary asDictionary() const;

  // One per installation.
  QUILLFOLD_READONLY_PROPERTY(std::string, deviceId);
  // The same text.
  QUILLFOLD_READONLY_PROPERTY(std::string, hardwareId);
  // The name of a known model, or "Unknown iOS Device".
  QUILLFOLD_READONLY_PROPERTY(std::string, deviceName);
  // "iPhone" and "Apple" on any device.
  QUILLFOLD_READONLY_PROPERTY(std::string, deviceModel);
  QUILLFOLD_READONLY_PROPERTY(std::string, deviceManufacturer);
  // The hardware identifier that the system reports.
  QUILLFOLD_READONLY_PROPERTY(std::string, deviceModelId);
  QUILLFOLD_READONLY_PROPERTY(std::string, osName);
  QUILLFOLD_READONLY_PROPERTY(std::string, osVersion);
  // In physical pixels; 0 without a screen.
  QUILLFOLD_READONLY_PROPERTY(std::int64_t, screenWidth);
  QUILLFOLD_READONLY_PROPERTY(std::int64_t, screenHeight);
  QUILLFOLD_READONLY_PROPERTY(double, screenDensity);
  // "wifi", whatever the connection: there is no detection.
  QUILLFOLD_READONLY_PROPERTY(std::string, networkType);
  QUILLFOLD_READONLY_PROPERTY(std::string, appVersion);
  QUILLFOLD_READONLY_PROPERTY(std::string, appBuild);
  QUILLFOLD_READONLY_PROPERTY(std::string, appId);
  QUILLFOLD_READONLY_PROPERTY(std::string, locale);
  QUILLFOLD_READONLY_PROPERTY(std::string, timezone);
  // In bytes.
  QUILLFOLD_READONLY_PROPERTY(std::optional<std::uint64_t>, totalMemory);
  QUILLFOLD_READONLY_PROPERTY(std::optional<std::uint64_t>, cpuCount);
  // From 0 to 1.
  QUILLFOLD_READONLY_PROPERTY(std::optional<float>, batteryLevel);
  // 1 while charging or full, 0 while unplugged.
  QUILLFOLD_READONLY_PROPERTY(std::optional<std::int64_t>, isCharging);

 private:
  QFDeviceInfo() = default;
  void readHardware();
  void readScreen();
  void readApplication();
  void readBattery();
};

using QFDeviceInfoPtr = std::shared_ptr<const QFDeviceInfo>;

}  // namespace quillfold
