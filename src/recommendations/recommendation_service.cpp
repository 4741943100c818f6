// The three questions to the backend. They differ inside on purpose.
#include "recommendations/recommendation_service.h"

#include <algorithm>

#include "api/api_client.h"
#include "api/api_config.h"
#include "foundation/format.h"
#include "foundation/json.h"
#include "foundation/text.h"
#include "social/person_fields.h"

namespace quillfold {

namespace {

constexpr std::size_t kSampleCharacters = 200;

// An element that is no object reads as one without members.
QFCanonicalContactPtr personFromValue(const Value& value) {
  const Dictionary empty;
  const Dictionary* object = value.asDictionary();
  return personFromDictionary<reading::DateFromText>(object != nullptr ? *object : empty);
}

// Whether a name goes before another. An absent one is never less, which puts the
// persons without a name behind the others, in the server's order.
bool nameGoesFirst(const QFCanonicalContact& a, const QFCanonicalContact& b) {
  const auto left = a.fullName().string();
  const auto right = b.fullName().string();
  if (!left || !right) return left.has_value() && !right.has_value();
  return text::compare(*left, *right) < 0;
}

std::vector<QFCanonicalContactPtr> peopleByName(const Array& values) {
  std::vector<QFCanonicalContactPtr> people;
  for (const Value& value : values) {
    people.push_back(personFromValue(value));
  }
  std::stable_sort(people.begin(), people.end(),
                   [](const auto& a, const auto& b) { return nameGoesFirst(*a, *b); });
  return people;
}

QFAPIClient::Parameters limitParameter(std::int64_t limit) {
  return {{"limit", fmt::format("{}", limit)}};
}

ErrorPtr invalidResponse() {
  return NSError::errorWithDomain(QFRecommendationErrorDomain,
                                  QFRecommendationErrorCodeInvalidResponse,
                                  {{NSLocalizedDescriptionKey, "Invalid response format"}});
}

void logFailure(const OSLogPtr& logger, const char* what, const ErrorPtr& error) {
  os_log_error(logger, fmt::format("Failed to get {}: {}", what, error->localizedDescription()));
}

void logSample(const OSLogPtr& logger, const Value& response) {
  const Array* list = response.asArray();
  if (list == nullptr || list->empty()) return;
  const auto json = NSJSONSerialization::dataWithJSONObject(list->front());
  os_log_debug(logger, fmt::format("Sample JSON for app users: {}",
                                   text::prefix(json.value_or(""), kSampleCharacters)));
}

// The list of an answer that may wrap it in an object.
const Array* appUserList(const Value& response) {
  const Dictionary* object = response.asDictionary();
  const Value* data = object != nullptr ? find(*object, "data") : &response;
  return data != nullptr ? data->asArray() : nullptr;
}

}  // namespace

std::shared_ptr<QFRecommendationService> QFRecommendationService::initWithContactService(
    const std::shared_ptr<QFContactService>&) {
  return std::shared_ptr<QFRecommendationService>(new QFRecommendationService);
}

QFRecommendationService::QFRecommendationService()
    : apiClient_(QFAPIClient::sharedInstance()),
      logger_(os_log_create("com.quillfold", "RecommendationService")) {}

void QFRecommendationService::getSharedContactsByUsersToInviteWithLimit(
    std::int64_t limit, Completion<QFContactRecommendation> completion) {
  if (!completion) completion = [](const auto&, const auto&) {};
  apiClient_->get(QFAPIConfig::sharedContactsToInviteEndpoint(), limitParameter(limit), true,
                  [self = shared_from_this(), completion = std::move(completion)](
                      const std::optional<Value>& response, const ErrorPtr& error) {
                    if (error) {
                      logFailure(self->logger_, "shared contacts to invite", error);
                      return completion(std::nullopt, error);
                    }
                    const Array* contactIDs = response->asArray();
                    if (contactIDs == nullptr) return completion(std::nullopt, invalidResponse());
                    self->lookupContactsAndCreateRecommendationsWithContactIDs(
                        *contactIDs, QFRecommendationTypeSharedContact, completion);
                  });
}

void QFRecommendationService::getContactsUsingAppWithLimit(
    std::int64_t limit, Completion<QFLocalCanonicalContact> completion) {
  if (!completion) completion = [](const auto&, const auto&) {};
  apiClient_->get(QFAPIConfig::appUserContactsEndpoint(), limitParameter(limit), true,
                  [self = shared_from_this(), completion = std::move(completion)](
                      const std::optional<Value>& response, const ErrorPtr& error) {
                    if (error) {
                      logFailure(self->logger_, "contacts using app", error);
                      return completion(std::nullopt, error);
                    }
                    logSample(self->logger_, *response);
                    const Array* infos = appUserList(*response);
                    if (infos == nullptr) return completion(std::nullopt, invalidResponse());
                    completion(self->appUsersFromInfos(*infos), nullptr);
                  });
}

std::vector<QFLocalCanonicalContactPtr> QFRecommendationService::appUsersFromInfos(
    const Array& infos) const {
  std::vector<QFLocalCanonicalContactPtr> users;
  for (const Value& info : infos) {
    if (auto user = appUserFromInfo(info)) users.push_back(std::move(user));
  }
  std::stable_sort(users.begin(), users.end(), [](const auto& a, const auto& b) {
    return nameGoesFirst(*a->canonicalContact(), *b->canonicalContact());
  });
  return users;
}

// Null, with a log line, if a member is missing. A person whose contact is not on
// the device stays, with what the server says.
QFLocalCanonicalContactPtr QFRecommendationService::appUserFromInfo(const Value& info) const {
  const Dictionary empty;
  const Dictionary& members = info.isDictionary() ? *info.asDictionary() : empty;
  const Value* contactId = find(members, "contact_id");
  const Value* sourceContactId = find(members, "source_contact_id");
  const Value* person = find(members, "canonical_contact");
  if (contactId == nullptr || sourceContactId == nullptr || person == nullptr) {
    os_log_error(logger_,
                 fmt::format("Missing required fields in contactInfo: {}", info.description()));
    return nullptr;
  }
  return QFLocalCanonicalContact::initWithContact(
      findLocalContactByID(sourceContactId->description()), *contactId, *sourceContactId,
      personFromValue(*person));
}

void QFRecommendationService::getUsersYouMightKnowWithLimit(
    std::int64_t limit, Completion<QFCanonicalContact> completion) {
  if (!completion) completion = [](const auto&, const auto&) {};
  apiClient_->get(QFAPIConfig::usersYouMightKnowEndpoint(), limitParameter(limit), true,
                  [self = shared_from_this(), completion = std::move(completion)](
                      const std::optional<Value>& response, const ErrorPtr& error) {
                    if (error) {
                      logFailure(self->logger_, "users you might know", error);
                      return completion(std::nullopt, error);
                    }
                    // The wrapping that the app users may have is not taken here.
                    const Array* people = response->asArray();
                    if (people == nullptr) return completion(std::nullopt, invalidResponse());
                    completion(peopleByName(*people), nullptr);
                  });
}

}  // namespace quillfold
