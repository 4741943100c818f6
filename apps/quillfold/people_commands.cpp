// Recommendations and the follow graph.
#include <iostream>

#include "apps/quillfold/commands.h"
#include "apps/quillfold/lists.h"
#include "apps/quillfold/output.h"
#include "apps/quillfold/session.h"

namespace host {

using namespace quillfold;

namespace {

constexpr std::int64_t kUsualLimit = 20;
// What the backend gives at the most.
constexpr std::int64_t kMostAtOnce = 1000;

std::string personLine(const QFCanonicalContact& person) {
  return wholeColumn(text(person.organizationUserId()), 36) + "  " +
         column(text(person.fullName()), 28) + "  " +
         (person.email().string() ? text(person.email()) : text(person.phone()));
}

Dictionary personObject(const QFCanonicalContact& person) {
  Dictionary object = person.toDictionary();
  setTime(object, "created_at", person.createdAt());
  setTime(object, "updated_at", person.updatedAt());
  return object;
}

Value localContact(const QFContactPtr& contact) {
  if (!contact) return nullptr;
  return Dictionary{{"identifier", contact->identifier()},
                    {"display_name", valueOrNull(contact->displayName())}};
}

std::string localText(const QFContactPtr& contact) {
  if (!contact) return "";
  return "  (" + harmless(contact->displayName()) +
         " in the address book: " + harmless(contact->identifier()) + ')';
}

Dictionary recommendationObject(const QFContactRecommendation& recommendation) {
  return {{"identifier", recommendation.contact()->identifier()},
          {"display_name", valueOrNull(recommendation.contact()->displayName())},
          {"score", recommendation.score()},
          {"reason", recommendation.reason()},
          {"organization_user_id", valueOrNull(recommendation.organizationUserId().value())}};
}

std::string recommendationLine(const QFContactRecommendation& recommendation) {
  return column(std::to_string(recommendation.score()), 4) + "  " +
         column(recommendation.contact()->displayName().value_or(""), 28) + "  " +
         column(recommendation.reason(), 36) + "  " +
         wholeColumn(recommendation.contact()->identifier(), 12) + "  " +
         text(recommendation.organizationUserId());
}

Dictionary appUserObject(const QFLocalCanonicalContact& user) {
  Dictionary object = user.toDictionary();
  object["canonical_contact"] = personObject(*user.canonicalContact());
  object["local_contact"] = localContact(user.contact());
  return object;
}

std::string appUserLine(const QFLocalCanonicalContact& user) {
  return personLine(*user.canonicalContact()) + localText(user.contact());
}

Dictionary followObject(const QFFollowRelationship& row) {
  Dictionary object{{"is_following", row.isFollowing()},
                    {"local_contact", localContact(row.localContact())}};
  setIfPresent(object, "id", row.identifier().value());
  setIfPresent(object, "user_id", row.userId().value());
  setIfPresent(object, "follower_id", row.followerId().value());
  setIfPresent(object, "followed_id", row.followedId().value());
  setIfPresent(object, "contact_id", row.contactId().value());
  setIfPresent(object, "display_name", row.displayName().value());
  setIfPresent(object, "username", row.username().value());
  setIfPresent(object, "photo_url", row.photoURL().value());
  setIfPresent(object, "bio", row.bio().value());
  setIfPresent(object, "website", row.website().value());
  setTime(object, "created_at", row.createdAt());
  return object;
}

std::string followLine(const QFFollowRelationship& row) {
  return wholeColumn(text(row.userId()), 36) + "  " + column(text(row.displayName()), 28) +
         (row.isFollowing() ? "  you follow" : "") + localText(row.localContact());
}

// The backend knows neither an offset nor a total for recommendations: all are asked for.
template <typename Ask, typename ToObject, typename ToLine>
int recommended(Session& session, Ask ask, ToObject toObject, ToLine toLine) {
  session.requestAccess();
  const Page page = session.page(kUsualLimit);
  const auto all =
      session.wait((session.account().*ask)(std::max(kMostAtOnce, page.offset + page.limit)));
  const auto part = partOf(all, page);
  return showList(session, part, std::ssize(all), toObject, toLine);
}

template <typename Ask>
int followList(Session& session, Ask ask) {
  session.requestAccess();
  const auto list =
      session.wait((session.account().*ask)(session.page(kUsualLimit), session.options().operand));
  return showList(session, list->items(), list->total(), followObject, followLine);
}

template <typename Ask>
int followAction(Session& session, Ask ask) {
  return showAction(session, *session.wait((session.account().*ask)(*session.options().operand)));
}

}  // namespace

int inviteCommand(Session& session) {
  return recommended(session, &Account::peopleToInvite, recommendationObject, recommendationLine);
}

int appUsersCommand(Session& session) {
  return recommended(session, &Account::contactsUsingApp, appUserObject, appUserLine);
}

int mightKnowCommand(Session& session) {
  return recommended(session, &Account::peopleYouMightKnow, personObject, personLine);
}

int followCommand(Session& session) {
  return followAction(session, &Account::follow);
}

int unfollowCommand(Session& session) {
  return followAction(session, &Account::unfollow);
}

int followingCommand(Session& session) {
  return followList(session, &Account::following);
}

int followersCommand(Session& session) {
  return followList(session, &Account::followers);
}

int mutualCommand(Session& session) {
  const auto list = session.wait(session.account().mutualFollows(session.page(kUsualLimit)));
  return showList(session, list->items(), list->total(), personObject, personLine);
}

}  // namespace host
