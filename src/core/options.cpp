#include "core/options.h"

#include "platform/contacts.h"
#include "platform/user_defaults.h"

namespace quillfold {

namespace {

constexpr const char* kOptionsKey = "com.quillfold.options";
constexpr const char* kRestrictedKeysKey = "restrictedKeys";

}  // namespace

std::string QFContactDataRestrictionUtils::contactKeyFromRestriction(std::int64_t restriction) {
  return restriction == QFContactDataRestrictionNotes ? CNContactNoteKey : "";
}

QFQuillfoldOptionsPtr QFQuillfoldOptions::initWithRestrictedKeysToFetch(
    std::set<std::int64_t> restrictedKeys) {
  return QFQuillfoldOptionsPtr(new QFQuillfoldOptions(std::move(restrictedKeys)));
}

QFQuillfoldOptionsPtr QFQuillfoldOptions::defaultOptions() {
  return initWithRestrictedKeysToFetch({});
}

void QFQuillfoldOptions::saveToUserDefaults() const {
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  const Array keys(restrictedKeysToFetch_.begin(), restrictedKeysToFetch_.end());
  defaults.setObject(Dictionary{{kRestrictedKeysKey, keys}}, kOptionsKey);
  defaults.synchronize();
}

QFQuillfoldOptionsPtr QFQuillfoldOptions::loadFromUserDefaults() {
  const auto stored = NSUserDefaults::standardUserDefaults().objectForKey(kOptionsKey);
  std::set<std::int64_t> keys;
  if (stored && stored->isDictionary()) {
    const Value* list = find(*stored->asDictionary(), kRestrictedKeysKey);
    if (list != nullptr && list->isArray()) {
      for (const Value& key : *list->asArray()) {
        const std::int64_t whole = key.integerValue();
        if (key.isNumber() && key.doubleValue() == static_cast<double>(whole)) keys.insert(whole);
      }
    }
  }
  return initWithRestrictedKeysToFetch(std::move(keys));
}

}  // namespace quillfold
