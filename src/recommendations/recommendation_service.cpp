// The three questions to the backend. They differ inside on purpose.
#include "recommendations/recommendation_service.h"

#include <algorithm>

#include "api/api_client.h"
#include "api/api_config.h"
#include "api/response.h"
#include "facade/service_slot.h"
#include "foundation/format.h"
#include "foundation/json.h"
#include "foundation/text.h"
#include "platform/log_line.h"
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

ErrorPtr invalidRecommendations() {
  return NSError::errorWithDomain(QFRecommendationErrorDomain,
                                  QFRecommendationErrorCodeInvalidResponse,
                                  {{NSLocalizedDescriptionKey, "Invalid response format"}});
}

// Asks one question. `failure` begins the log line of a failed request; `read` gives
// the elements of an answer, or absent for one of another shape. The service lives
// until then.
template <typename Element, typename Read>
void ask(std::shared_ptr<QFRecommendationService> service, const std::string& endpoint,
         std::int64_t limit, const char* failure,
         QFRecommendationService::Completion<Element> completion, Read read) {
  if (!completion) completion = [](const auto&, const auto&) {};
  QFAPIClient& client = *service->apiClient();
  client.get(endpoint, {{"limit", fmt::format("{}", limit)}}, true,
             [service = std::move(service), failure, completion = std::move(completion), read](
                 const std::optional<Value>& response, const ErrorPtr& error) {
               if (error) {
                 os_log_error(service->logger(), "{}{}", failure, error->localizedDescription());
                 return completion(std::nullopt, error);
               }
               auto list = read(*response);
               if (!list) return completion(std::nullopt, invalidRecommendations());
               completion(std::move(list), nullptr);
             });
}

void logSample(const OSLogPtr& logger, const Value& response) {
  const Array* list = response.asArray();
  if (list == nullptr || list->empty() || !os_log_enabled(logger, LogLevel::Debug)) return;
  const auto json = NSJSONSerialization::dataWithJSONObject(list->front());
  os_log_debug(logger, "Sample JSON for app users: {}",
               text::prefix(json.value_or(""), kSampleCharacters));
}

// The list of an answer that may wrap it in an object.
const Array* appUserList(const Value& response) {
  const Value* data = response.isDictionary() ? entry(response, "data") : &response;
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
  ask(shared_from_this(), QFAPIConfig::sharedContactsToInviteEndpoint(), limit,
      "Failed to get shared contacts to invite: ", std::move(completion),
      [this](const Value& response) -> List<QFContactRecommendation> {
        const Array* contactIDs = response.asArray();
        if (contactIDs == nullptr) return std::nullopt;
        return recommendationsForContactIDs(*contactIDs, QFRecommendationTypeSharedContact);
      });
}

void QFRecommendationService::getContactsUsingAppWithLimit(
    std::int64_t limit, Completion<QFLocalCanonicalContact> completion) {
  ask(shared_from_this(), QFAPIConfig::appUserContactsEndpoint(), limit,
      "Failed to get contacts using app: ", std::move(completion),
      [this](const Value& response) -> List<QFLocalCanonicalContact> {
        logSample(logger_, response);
        const Array* infos = appUserList(response);
        if (infos == nullptr) return std::nullopt;
        return appUsersFromInfos(*infos);
      });
}

void QFRecommendationService::getUsersYouMightKnowWithLimit(
    std::int64_t limit, Completion<QFCanonicalContact> completion) {
  ask(shared_from_this(), QFAPIConfig::usersYouMightKnowEndpoint(), limit,
      "Failed to get users you might know: ", std::move(completion),
      [](const Value& response) -> List<QFCanonicalContact> {
        // The wrapping that the app users may have is not taken here.
        const Array* people = response.asArray();
        if (people == nullptr) return std::nullopt;
        return peopleByName(*people);
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
  const Value* contactId = entry(info, "contact_id");
  const Value* sourceContactId = entry(info, "source_contact_id");
  const Value* person = entry(info, "canonical_contact");
  if (contactId == nullptr || sourceContactId == nullptr || person == nullptr) {
    if (os_log_enabled(logger_, LogLevel::Error)) {
      os_log_error(logger_, "Missing required fields in contactInfo: {}", info.description());
    }
    return nullptr;
  }
  return QFLocalCanonicalContact::initWithContact(
      findLocalContactByID(sourceContactId->description()), *contactId, *sourceContactId,
      personFromValue(*person));
}

std::shared_ptr<QFRecommendationService> QFContactService::recommendationService() {
  return serviceIfReady<QFRecommendationService>(*this, "recommendationService");
}

}  // namespace quillfold
