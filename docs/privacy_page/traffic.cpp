#include "traffic.h"

#include <quillfold/quillfold.h>
#include <quillfold/testing.h>

#include <algorithm>
#include <stdexcept>

namespace privacy {

namespace {

using namespace quillfold;
using quillfold::testing::FakePlatform;
using quillfold::testing::FakeTask;

// What never leaves.
constexpr const char* kHostToken = "never-the-token";
constexpr const char* kPicture = "never-the-picture";
constexpr const char* kSearch = "never-the-search";
// What leaves if the host asks for it.
constexpr const char* kNote = "perhaps-the-note";

CNContactProperties fullContact() {
  CNContactProperties contact;
  contact.identifier = "id";
  contact.contactType = CNContactTypeOrganization;
  for (auto* text :
       {&contact.namePrefix, &contact.givenName, &contact.middleName, &contact.familyName,
        &contact.previousFamilyName, &contact.nameSuffix, &contact.nickname,
        &contact.organizationName, &contact.departmentName, &contact.jobTitle}) {
    *text = "text";
  }
  contact.note = kNote;
  contact.imageData = contact.thumbnailImageData = Data(kPicture);
  contact.birthday = NSDateComponents{1990, 5, 6};
  contact.phoneNumbers = {{CNLabelHome, {"+1 212 555 0100"}}};
  contact.emailAddresses = {{CNLabelHome, "ann@example.com"}};
  contact.postalAddresses = {{CNLabelHome, {"street", "city", "state", "code", "country"}}};
  contact.urlAddresses = {{CNLabelHome, "example.com"}};
  contact.socialProfiles = {{CNLabelHome, {"service", "name", "https://example.com"}}};
  contact.contactRelations = {{CNLabelHome, {"name"}}};
  contact.instantMessageAddresses = {{CNLabelHome, {"service", "name"}}};
  return contact;
}

void fillDevice(FakePlatform& platform) {
  platform.device->level = 0.5F;
  platform.device->state = UIDeviceBatteryStateFull;
  platform.device->screen = UIScreen{100, 100, 2};
  platform.device->bundle = {"1.0", "1", "app"};
  platform.device->memory = platform.device->processors = 1;
}

AccountConfiguration configuration(const std::string& user, bool readNotes) {
  return {.apiKey = "key",
          .token = kHostToken,
          .user = {.id = user,
                   .email = "ann@example.com",
                   .phone = "+1 212 555 0100",
                   .fullName = "Ann",
                   .avatarUrl = "https://example.com",
                   .metadata = Dictionary{{"any", "thing"}}},
          .readNotes = readNotes};
}

// Runs operations to their ends; how they end is of no interest.
template <typename... T>
void letEnd(FakePlatform& platform, const Operation<T>&... operations) {
  platform.settle();
  if (!(operations.isDone() && ...)) throw std::logic_error("An operation has no end");
}
template <typename T>
T valueOf(FakePlatform& platform, const Operation<T>& operation) {
  letEnd(platform, operation);
  return operation.get();
}

void usePeople(FakePlatform& platform, const Account& account) {
  letEnd(platform, account.peopleToInvite(1), account.contactsUsingApp(1),
         account.peopleYouMightKnow(1), account.follow("ID"), account.unfollow("ID"),
         account.isFollowing("ID"), account.followers({}, "ID"), account.following({}, "ID"),
         account.mutualFollows());
}

void useEvents(FakePlatform& platform, const Account& account) {
  const NSDate time = NSDate::dateWithTimeIntervalSince1970(0);
  const Dictionary metadata{{"any", "thing"}};
  const auto event = QFCreateEventRequest::initWithEventType("type", "title", "text", "place", time,
                                                             time, metadata, true);
  const auto changes = QFUpdateEventRequest::init();
  changes->setTitle("title");
  changes->setDescription("text");
  changes->setLocation("place");
  changes->setStartTime(time);
  changes->setEndTime(time);
  changes->setMetadata(metadata);
  changes->setIsPublic(true);
  letEnd(platform, account.createEvent(event), account.updateEvent("ID", changes),
         account.event("ID"), account.deleteEvent("ID"), account.events({}, "ID"), account.feed(),
         account.upcomingEvents(), account.forYou());
}

void useAll(FakePlatform& platform, const std::string& user, bool readNotes) {
  const Account account = valueOf(platform, Account::open(configuration(user, readNotes)));
  valueOf(platform, account.sync());
  letEnd(platform, account.contacts(), account.contact("id"), account.search(kSearch),
         account.quickSearch(kSearch));
  usePeople(platform, account);
  useEvents(platform, account);
  QFContactService::sharedInstance()->checkHealthWithCompletion([](bool) {});
  letEnd(platform, account.close());
}

void note(Keys& keys, const std::string& key, Content content) {
  auto& known = keys.emplace(key, content).first->second;
  known = std::max(known, content);
}

void collect(Keys& keys, const std::string& key, const Value& value) {
  const bool isOfHost = key.ends_with("metadata");  // Any members.
  if (const Dictionary* object = value.asDictionary(); object && !object->empty() && !isOfHost) {
    for (const auto& [name, member] : *object)
      collect(keys, key.empty() ? name : key + '.' + name, member);
  } else if (const Array* array = value.asArray(); array && !array->empty()) {
    for (const Value& element : *array)
      collect(keys, key + "[]", element);
  } else {
    const bool isEmpty = value == Value("") || (object && object->empty()) || array;
    note(keys, key, value.isNull() ? Content::Null : isEmpty ? Content::Empty : Content::Filled);
  }
}

void collectQuery(Keys& keys, const std::string& path) {
  for (std::size_t at = path.find('?'); at != std::string::npos; at = path.find('&', at + 1))
    note(keys, "?" + path.substr(at + 1, path.find('=', at) - at - 1), Content::Filled);
}

void collect(Traffic& traffic, const FakeTask& task) {
  const std::string path = task.path();
  Keys& keys = traffic[task.request().httpMethod + ' ' + path.substr(0, path.find('?'))];
  collectQuery(keys, path);
  if (task.request().httpBody) collect(keys, "", task.json());
  for (const auto& [name, value] : task.request().headers)
    note(traffic["Every request"], name, Content::Filled);
}

// Throws if a request holds the text.
void refuse(const FakePlatform& platform, const std::string& text) {
  for (const auto& task : platform.sessions->tasks) {
    const NSMutableURLRequest& request = task->request();
    std::string all = request.url;
    for (const auto& [name, value] : request.headers)
      all += name + value;
    if (request.httpBody) all += request.httpBody->bytes();
    if (all.find(text) != std::string::npos)
      throw std::logic_error(task->path() + " holds " + text);
  }
}

}  // namespace

Traffic recordTraffic() {
  FakePlatform platform;
  fillDevice(platform);
  platform.contacts->add(fullContact());
  platform.serveBackend([](FakeTask& task) {
    if (!task.path().starts_with("/api/v1/social/")) return false;
    task.answer(200, "{}");
    return true;
  });
  useAll(platform, "ann", false);
  refuse(platform, kNote);
  useAll(platform, "bob", true);
  for (const char* text : {kHostToken, kPicture, kSearch})
    refuse(platform, text);
  Traffic traffic;
  for (const auto& task : platform.sessions->tasks)
    collect(traffic, *task);
  return traffic;
}

}  // namespace privacy
