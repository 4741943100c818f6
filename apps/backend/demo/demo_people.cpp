#include "apps/backend/demo/demo_people.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>

#include "apps/backend/identifiers.h"
#include "apps/backend/store/address_key.h"

namespace quillfold::backend {
namespace {

using nlohmann::json;
using People = std::vector<DemoCircle::Person>;

constexpr std::int64_t kContacts = 60;
constexpr std::size_t kMembers = 4;  // Contacts who turn out to use the application.
constexpr std::size_t kMemberStride = 4;
constexpr std::size_t kSharedStride = 3;
constexpr std::size_t kFollowedByUser = 2;
constexpr double kHour = 3600;
constexpr double kDay = 24 * kHour;

struct Stranger {
  const char* name;
  const char* username;
  const char* bio;
};
constexpr std::array<Stranger, 4> kStrangers = {{
    {"Ilka Sundermark", "ilka", "Bakes bread, repairs bicycles."},
    {"Tobin Fairweather", "tobin", "Walks before breakfast."},
    {"Maren Quist", "maren", "Sings alto, mostly in tune."},
    {"Oskar Lindqvale", "oskar", "Collects maps of places that are gone."},
}};

struct Occasion {
  const char* type;
  const char* title;
  const char* location;
};
constexpr std::array<Occasion, 4> kOccasions = {{
    {"meetup", "Breakfast by the harbour", "Harbour Lane 3"},
    {"concert", "Choir evening", "Old Mill"},
    {"sport", "Run around the lake", "North gate"},
    {"party", "Garden party", "Lindenallee 12"},
}};

// The first value of a list that is an address.
std::optional<std::string> firstAddress(const json& contact, const char* list) {
  for (const json& entry : contact.at(list)) {
    const auto value = entry.at("value").get<std::string>();
    if (addressKey(value)) return value;
  }
  return std::nullopt;
}

DemoCircle::Person personOf(const std::string& idName, const User& owner, json info, double now) {
  DemoCircle::Person person;
  person.user.id = nameBasedUuid("demo person " + owner.organizationId + " " + idName);
  person.user.organizationId = owner.organizationId;
  person.user.createdAt = now;
  info["userId"] = person.user.id;
  info["metadata"]["demo"] = true;
  person.user.userInfo = std::move(info);
  return person;
}

// Known by one address only, so that the person is found by this contact and not
// by others who share a telephone with it.
DemoCircle::Person memberOf(const DemoContact& contact, const User& owner, double now) {
  json info;
  const auto email = firstAddress(contact.content, "email_addresses");
  const auto address = email ? email : firstAddress(contact.content, "phone_numbers");
  info[email ? "email" : "phone"] = *address;
  const std::string name = contact.content.at("display_name").get<std::string>();
  info["fullName"] = name.empty() ? *address : name;
  return personOf(*addressKey(*address), owner, std::move(info), now);
}

DemoCircle::Person strangerOf(const Stranger& stranger, const User& owner, double now) {
  const std::string username = stranger.username;
  json info = {{"fullName", stranger.name},
               {"email", username + "@people.example"},
               {"avatarUrl", "https://people.example/" + username + ".png"},
               {"metadata",
                {{"username", username},
                 {"bio", stranger.bio},
                 {"website", "https://people.example/" + username}}}};
  return personOf(username, owner, std::move(info), now);
}

bool isMember(std::size_t contact) {
  // The first is left to be shared and invited, however few there are.
  return contact % kMemberStride == 1 && contact / kMemberStride < kMembers;
}

Event eventOf(const User& user, std::size_t position, double start, double now) {
  const Occasion& occasion = kOccasions[position % kOccasions.size()];
  Event event;
  event.id = nameBasedUuid("demo event " + user.id + (start < now ? " past" : " ahead"));
  event.userId = user.id;
  event.organizationId = user.organizationId;
  event.eventType = occasion.type;
  event.title = occasion.title;
  event.location = occasion.location;
  event.startTime = std::floor(start / kHour) * kHour;
  event.endTime = *event.startTime + 2 * kHour;
  event.metadata = {{"demo", true}};
  event.isPublic = true;
  event.createdAt = event.updatedAt = std::min(now, start) - static_cast<double>(position) * kHour;
  return event;
}

void connect(People& people, const std::vector<DemoContact>& contacts, const User& owner,
             double now) {
  for (std::size_t i = 0; i < people.size(); ++i) {
    DemoCircle::Person& person = people[i];
    for (std::size_t contact = 0; contact < contacts.size(); ++contact) {
      const bool shared = (contact + i) % kSharedStride == 0;
      if (shared && !isMember(contact))
        person.contacts.push_back(contacts[contact].sourceContactId);
    }
    person.follows.push_back(people[(i + 1) % people.size()].user.id);
    if (i % 2 == 0) person.follows.push_back(owner.id);
    person.knowsUser = i % 2 == 1;
    person.isFollowed = i < kFollowedByUser;
    const double days = static_cast<double>(i + 1) * kDay;
    person.events = {eventOf(person.user, i, now - days, now),
                     eventOf(person.user, i + 1, now + days, now)};
  }
}

}  // namespace

void addDemoPeople(Storage& storage, const std::string& userId, double now) {
  const auto contacts = storage.contactsForDemo(userId, kContacts);
  const auto owner = storage.user(userId);
  if (contacts.empty() || !owner) return;
  DemoCircle circle;
  std::set<std::string> known;
  for (std::size_t i = 0; i < contacts.size(); ++i) {
    if (!isMember(i)) continue;
    DemoCircle::Person member = memberOf(contacts[i], *owner, now);
    // Contacts that share their address are one person.
    if (known.insert(member.user.id).second) circle.people.push_back(std::move(member));
  }
  for (const Stranger& stranger : kStrangers)
    circle.people.push_back(strangerOf(stranger, *owner, now));
  connect(circle.people, contacts, *owner, now);
  storage.addDemoCircle(userId, circle);
}

}  // namespace quillfold::backend
