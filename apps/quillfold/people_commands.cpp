// Recommendations and the follow graph.
#include <iostream>

#include "apps/quillfold/calls.h"
#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"

namespace host {

using namespace quillfold;

namespace {

template <typename Element>
using Elements = std::optional<std::vector<std::shared_ptr<Element>>>;

// The elements as a JSON array, or a line for each.
template <typename Element, typename ToDictionary, typename ToLine>
int show(HostSession& session, const std::vector<std::shared_ptr<Element>>& elements,
         ToDictionary toDictionary, ToLine toLine) {
  if (session.arguments().json) {
    Array rows;
    for (const auto& element : elements)
      rows.emplace_back(toDictionary(*element));
    printJSON(rows);
    return 0;
  }
  for (const auto& element : elements)
    std::cout << toLine(*element) << '\n';
  if (elements.empty()) std::cout << "nobody\n";
  return 0;
}

template <typename Element, typename Ask>
std::vector<std::shared_ptr<Element>> recommended(HostSession& session, Ask ask) {
  session.initialize();
  session.requestAccess();
  const auto service = session.service().recommendationService();
  return answerOf<Elements<Element>>(
             session,
             [&](auto completion) { ((*service).*ask)(session.arguments().limit, completion); })
      .value_or(std::vector<std::shared_ptr<Element>>());
}

std::string text(const JSONField& field) {
  return harmless(field.string().value_or(""));
}

std::string personLine(const QFCanonicalContact& person) {
  return column(text(person.organizationUserId()), 36) + "  " +
         column(text(person.fullName()), 28) + "  " +
         (person.email().string() ? text(person.email()) : text(person.phone()));
}

Dictionary personObject(const QFCanonicalContact& person) {
  return person.toDictionary();
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
         recommendation.reason();
}

std::string appUserLine(const QFLocalCanonicalContact& user) {
  const std::string local = user.contact() ? user.contact()->displayName().value_or("") : "";
  return personLine(*user.canonicalContact()) +
         (local.empty() ? "" : "  (" + local + " in the address book)");
}

std::string followLine(const QFFollowRelationship& row) {
  const std::string local =
      row.localContact() ? row.localContact()->displayName().value_or("") : "";
  return column(text(row.userId()), 36) + "  " + column(text(row.displayName()), 28) +
         (row.isFollowing() ? "  you follow" : "") +
         (local.empty() ? "" : "  (" + local + " in the address book)");
}

// The wire form, with the contact of this device beside it.
template <typename Record>
Dictionary withLocalContact(const Record& record, const QFContactPtr& contact) {
  Dictionary object = record.toDictionary();
  object["local_contact"] =
      contact ? Value(Dictionary{{"identifier", contact->identifier()},
                                 {"display_name", valueOrNull(contact->displayName())}})
              : Value(nullptr);
  return object;
}

int showAction(HostSession& session, const QFFollowActionResponse& action) {
  if (session.arguments().json) {
    printJSON(action.toDictionary());
  } else {
    std::cout << (text(action.message()).empty() ? (action.success() ? "done" : "not done")
                                                 : text(action.message()))
              << '\n';
  }
  return 0;
}

template <typename Ask>
int followList(HostSession& session, Ask ask) {
  session.initialize();
  session.requestAccess();
  const Arguments& arguments = session.arguments();
  const OptionalString user =
      arguments.operands.empty() ? std::nullopt : OptionalString(arguments.operands.front());
  const auto service = session.service().socialService();
  const auto list = recordOf<QFPaginatedFollowList>(session, [&](auto completion) {
    ((*service).*ask)(user, arguments.offset, arguments.limit, completion);
  });
  return show(
      session, list->items(),
      [](const QFFollowRelationship& row) { return withLocalContact(row, row.localContact()); },
      followLine);
}

template <typename Ask>
int followAction(HostSession& session, Ask ask) {
  session.initialize();
  const auto service = session.service().socialService();
  return showAction(session, *recordOf<QFFollowActionResponse>(session, [&](auto completion) {
                      ((*service).*ask)(session.arguments().operands.front(), completion);
                    }));
}

}  // namespace

int inviteCommand(HostSession& session) {
  const auto found = recommended<QFContactRecommendation>(
      session, &QFRecommendationService::getSharedContactsByUsersToInviteWithLimit);
  return show(session, found, recommendationObject, recommendationLine);
}

int appUsersCommand(HostSession& session) {
  const auto found = recommended<QFLocalCanonicalContact>(
      session, &QFRecommendationService::getContactsUsingAppWithLimit);
  return show(
      session, found,
      [](const QFLocalCanonicalContact& user) { return withLocalContact(user, user.contact()); },
      appUserLine);
}

int mightKnowCommand(HostSession& session) {
  const auto found = recommended<QFCanonicalContact>(
      session, &QFRecommendationService::getUsersYouMightKnowWithLimit);
  return show(session, found, personObject, personLine);
}

int followCommand(HostSession& session) {
  return followAction(session, &QFSocialService::followUser);
}

int unfollowCommand(HostSession& session) {
  return followAction(session, &QFSocialService::unfollowUser);
}

int followingCommand(HostSession& session) {
  return followList(session, &QFSocialService::getFollowingWithUserId);
}

int followersCommand(HostSession& session) {
  return followList(session, &QFSocialService::getFollowersWithUserId);
}

int mutualCommand(HostSession& session) {
  session.initialize();
  const Arguments& arguments = session.arguments();
  const auto service = session.service().socialService();
  const auto list = recordOf<QFPaginatedMutualFollowers>(session, [&](auto completion) {
    service->getMutualFollowsWithSkip(arguments.offset, arguments.limit, completion);
  });
  return show(session, list->items(), personObject, personLine);
}

}  // namespace host
