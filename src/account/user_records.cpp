#include "account/user_records.h"

#include "account/failure.h"
#include "api/api_client.h"
#include "core/defaults_keys.h"
#include "facade/contact_service.h"
#include "foundation/hash.h"
#include "platform/platform.h"
#include "sync/sync_info_dictionary.h"
#include "sync/sync_info_store.h"

namespace quillfold {

namespace {

// The user whose bookkeeping is the usual file.
constexpr const char* kOwner = "quillfold.account.owner";
// The contact sources of the users that are not the last one, by their identifiers.
constexpr const char* kSources = "quillfold.account.sources";
constexpr std::size_t kFileDigits = 16;

// Keeps from now on whose file the usual one is.
std::string bookkeepingPath(QFContactService& service, const std::string& userId,
                            const OptionalString& lastUser) {
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  std::string path = bookkeepingPathOf(userId);
  if (!defaults.stringForKey(kOwner)) {
    const bool own = path == service.defaultSyncInfoFilePath();
    defaults.setObject(own ? userId : lastUser.value_or(""), kOwner);
  }
  return path;
}

Dictionary sourcesOfOthers() {
  const auto stored = NSUserDefaults::standardUserDefaults().objectForKey(kSources);
  return stored && stored->isDictionary() ? *stored->asDictionary() : Dictionary();
}

// The backend knows this device under another source for each of its users. Put away before
// it is removed: each step is on the disk before the next, and the process may end.
void putAwaySource(const OptionalString& lastUser) {
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  auto source = defaults.objectForKey(defaults_keys::kSourceId);
  if (source && lastUser) {
    Dictionary sources = sourcesOfOthers();
    sources[*lastUser] = *std::move(source);
    defaults.setObject(std::move(sources), kSources);
  }
  if (source) defaults.removeObjectForKey(defaults_keys::kSourceId);
  // Of the rest the next start writes only what its user has.
  for (const char* key : {defaults_keys::kOrganizationId, defaults_keys::kUserInfo,
                          defaults_keys::kUserEmail, defaults_keys::kUserPhone})
    defaults.removeObjectForKey(key);
}

void takeSourceOut(const std::string& userId) {
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  if (defaults.objectForKey(defaults_keys::kSourceId)) return;
  const Dictionary sources = sourcesOfOthers();
  if (const Value* source = find(sources, userId)) {
    defaults.setObject(*source, defaults_keys::kSourceId);
  }
}

}  // namespace

std::string bookkeepingPathOf(const std::string& userId) {
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  std::string usual = SyncInfoStore::usualFilePath();
  auto owner = defaults.stringForKey(kOwner);
  // A file from before there was an owner is the last user's, and nobody's where the settings
  // are lost: what is recorded in it as sent was perhaps another's.
  if (!owner && Platform::current().files->fileExistsAtPath(usual)) {
    owner = defaults.stringForKey(defaults_keys::kUserId).value_or("");
  }
  if (owner.value_or(userId) == userId) return usual;
  const auto dot = usual.rfind('.');
  return usual.substr(0, dot) + '-' + sha256Hex(userId).substr(0, kFileDigits) + usual.substr(dot);
}

void adoptUser(QFContactService& service, const std::string& userId) {
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  // Another process may have had the home since this one last looked: neither the settings
  // nor the bookkeeping in memory are to be trusted. Settings that can't be read would pass for
  // empty, and what is made up in their place for theirs later.
  if (const ErrorPtr error = defaults.synchronizeOrFail()) throw Failure::fromError(*error);
  const auto lastUser = defaults.stringForKey(defaults_keys::kUserId);
  service.setSyncInfoFilePath(bookkeepingPath(service, userId, lastUser));
  service.setSyncInfoCache(SyncInfoDictionary::dictionary());
  if (lastUser != userId) putAwaySource(lastUser);
  defaults.setObject(userId, defaults_keys::kUserId);
  takeSourceOut(userId);
  const auto client = QFAPIClient::sharedInstance();
  if (client->userId() == userId) return;
  client->setUserId(userId);
  client->setToken(std::nullopt);
  client->setTokenExpiryDate(std::nullopt);
}

}  // namespace quillfold
