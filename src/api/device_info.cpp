#include "api/device_info.h"

#include "core/defaults_keys.h"
#include "core/device_identifier.h"
#include "platform/platform.h"

namespace quillfold {

namespace {

constexpr std::pair<std::string_view, const char*> kModels[] = {
    {"iPhone14,2", "iPhone 13 Pro"},  {"iPhone14,3", "iPhone 13 Pro Max"},
    {"iPhone14,4", "iPhone 13 mini"}, {"iPhone14,5", "iPhone 13"},
    {"iPhone15,2", "iPhone 14 Pro"},  {"iPhone15,3", "iPhone 14 Pro Max"},
    {"iPhone15,4", "iPhone 14"},      {"iPhone15,5", "iPhone 14 Plus"},
};

std::string modelName(std::string_view identifier) {
  for (const auto& [id, name] : kModels) {
    if (id == identifier) return name;
  }
  return "Unknown iOS Device";
}

DeviceData& device() {
  return *Platform::current().device;
}

}  // namespace

QFDeviceInfoPtr QFDeviceInfo::init() {
  std::shared_ptr<QFDeviceInfo> info(new QFDeviceInfo);
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  const bool known = defaults.stringForKey(defaults_keys::kDeviceIdentifier).has_value();
  info->deviceId_ = storedDeviceIdentifier();
  if (!known) defaults.synchronize();
  info->hardwareId_ = info->deviceId_;
  info->readHardware();
  info->readScreen();
  info->networkType_ = "wifi";
  info->readApplication();
  info->locale_ = device().localeIdentifier();
  info->timezone_ = device().timeZoneName();
  info->cpuCount_ = device().processorCount();
  info->totalMemory_ = device().physicalMemory();
  info->readBattery();
  return info;
}

void QFDeviceInfo::readHardware() {
  deviceModelId_ = device().machine();
  deviceName_ = modelName(deviceModelId_);
  deviceModel_ = "iPhone";
  deviceManufacturer_ = "Apple";
  osName_ = device().systemName();
  osVersion_ = device().systemVersion();
}

void QFDeviceInfo::readScreen() {
  const UIScreen screen = device().mainScreen().value_or(UIScreen{});
  screenWidth_ = static_cast<std::int64_t>(screen.width * screen.scale);
  screenHeight_ = static_cast<std::int64_t>(screen.height * screen.scale);
  screenDensity_ = screen.scale;
}

void QFDeviceInfo::readApplication() {
  const NSBundle bundle = device().mainBundle();
  appVersion_ = bundle.shortVersionString.value_or("1.0");
  appBuild_ = bundle.bundleVersion.value_or("1");
  appId_ = bundle.bundleIdentifier.value_or("com.quillfold.app");
}

void QFDeviceInfo::readBattery() {
  device().setBatteryMonitoringEnabled(true);
  const float level = device().batteryLevel();
  if (level >= 0) batteryLevel_ = level;
  const std::int64_t state = device().batteryState();
  if (state != UIDeviceBatteryStateUnknown) {
    isCharging_ = state == UIDeviceBatteryStateUnplugged ? 0 : 1;
  }
  device().setBatteryMonitoringEnabled(false);
}

Dictionary QFDeviceInfo::asDictionary() const {
  Dictionary out{
      {"device_id", deviceId_},
      {"hardware_id", hardwareId_},
      {"device_name", deviceName_},
      {"device_model", deviceModel_},
      {"device_manufacturer", deviceManufacturer_},
      {"device_model_id", deviceModelId_},
      {"os_name", osName_},
      {"os_version", osVersion_},
      {"screen_width", screenWidth_},
      {"screen_height", screenHeight_},
      {"screen_density", screenDensity_},
      {"network_type", networkType_},
      {"app_version", appVersion_},
      {"app_build", appBuild_},
      {"app_id", appId_},
      {"locale", locale_},
      {"timezone", timezone_},
  };
  if (totalMemory_) out["total_memory"] = static_cast<std::int64_t>(*totalMemory_);
  if (cpuCount_) out["cpu_count"] = static_cast<std::int64_t>(*cpuCount_);
  if (batteryLevel_) out["battery_level"] = static_cast<double>(*batteryLevel_);
  setIfPresent(out, "is_charging", isCharging_);
  return out;
}

}  // namespace quillfold
