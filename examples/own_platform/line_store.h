// An address book of the host's own: a line for each person, the name, a tab and the number.
#pragma once

#include <quillfold/platform.h>

#include <fstream>
#include <string>

namespace host {

using namespace quillfold;

// Reads the file at each call. A book that can change meanwhile posts
// CNContactStoreDidChangeNotification on NSNotificationCenter::defaultCenter().
class LineStore : public CNContactStore {
 public:
  using Block = std::function<void(const CNContact&)>;
  using Keys = std::vector<CNKeyDescriptor>;
  explicit LineStore(std::string path) : path_(std::move(path)) {}

  void requestAccessForEntityType(std::int64_t, AccessCompletion completion) override {
    dispatchGlobal([completion = std::move(completion)] { completion(true, nullptr); });
  }
  bool enumerateContactsWithFetchRequest(const CNContactFetchRequest& request, ErrorPtr* error,
                                         const Block& block) override {
    std::ifstream lines(path_);
    const auto keys = CNKeySet::fromKeys(request.keysToFetch);
    std::string name, number;
    while (std::getline(lines, name, '\t') && std::getline(lines, number)) {
      CNContactProperties person;
      person.identifier = person.givenName = name;
      person.phoneNumbers = {{CNLabelHome, {number}}};
      block(CNContact(std::make_shared<CNContactProperties>(std::move(person)), keys));
    }
    const bool wasRead = lines.is_open() && !lines.bad();
    return wasRead || failed(error, CNErrorCodeDataAccessError, "can't be read");
  }
  std::shared_ptr<const CNContact> unifiedContactWithIdentifier(const std::string& identifier,
                                                                const Keys& keys,
                                                                ErrorPtr* error) override {
    std::shared_ptr<const CNContact> found;
    const auto look = [&](const CNContact& person) {
      if (person.identifier() == identifier) found = std::make_shared<CNContact>(person);
    };
    if (enumerateContactsWithFetchRequest({keys}, error, look) && !found)
      failed(error, CNErrorCodeRecordDoesNotExist, "has no " + identifier);
    return found;
  }
  std::vector<CNContact> unifiedContactsMatchingPredicate(const CNContactPredicate& predicate,
                                                          const Keys& keys,
                                                          ErrorPtr* error) override {
    std::vector<CNContact> people;
    const auto add = [&](const CNContact& person) { people.push_back(person); };
    if (predicate.containerIdentifier == kContainer)
      enumerateContactsWithFetchRequest({keys}, error, add);
    return people;
  }
  std::string defaultContainerIdentifier() override { return kContainer; }

 private:
  bool failed(ErrorPtr* error, std::int64_t code, const std::string& what) const {
    const Dictionary information{{NSLocalizedDescriptionKey, path_ + " " + what}};
    if (error != nullptr) *error = NSError::errorWithDomain(CNErrorDomain, code, information);
    return false;
  }

  static constexpr const char* kContainer = "lines";
  const std::string path_;
};

}  // namespace host
