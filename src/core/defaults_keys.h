// The keys under which the library keeps values in the user defaults.
#pragma once

namespace quillfold::defaults_keys {

// The user as JSON bytes, sent with the token request.
inline constexpr const char* kUserInfo = "quillfold.userinfo";
inline constexpr const char* kUserId = "quillfold.original.user.id";
// Written at each initialisation and read by nobody.
inline constexpr const char* kUserToken = "quillfold.user.token";
inline constexpr const char* kUserEmail = "quillfold.user.email";
inline constexpr const char* kUserPhone = "quillfold.user.phone";
// One identifier per installation, made by whoever needs it first.
inline constexpr const char* kDeviceIdentifier = "com.quillfold.deviceIdentifier";
// The backend's identifier of this device's contact source.
inline constexpr const char* kSourceId = "com.quillfold.source.id";
// Read only; for a host to set.
inline constexpr const char* kOrganizationId = "quillfold.organization.id";
// Followed by a contact's identifier: one archived record; read only.
inline constexpr const char* kSyncInfoPrefix = "com.quillfold.syncinfo.";

}  // namespace quillfold::defaults_keys
