// People to invite and people the user might know.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/error.h"
#include "foundation/export.h"
#include "foundation/value.h"
#include "platform/log.h"
#include "recommendations/contact_recommendation.h"
#include "social/social_records.h"

namespace quillfold {

class QFAPIClient;
class QFContactService;

inline constexpr const char* QFRecommendationErrorDomain = "com.quillfold.recommendation";
enum QFRecommendationErrorCode : std::int64_t {
  QFRecommendationErrorCodeInvalidResponse = 100,
};

// Asks the backend for people and joins them with the contacts of the device. The
// three questions look alike and are answered differently, in the shape that the
// server must send, in what is delivered and in its order.
//
// Operations may be called from any thread. A completion may be an empty function
// and is called exactly once. The limit goes to the server as it is; whatever
// comes back is delivered. Contacts are looked up one by one, each with a store of
// its own, and a lookup that fails is logged.
class QUILLFOLD_EXPORT QFRecommendationService
    : public std::enable_shared_from_this<QFRecommendationService> {
 public:
  template <typename Element>
  using List = std::optional<std::vector<std::shared_ptr<Element>>>;
  // A list, or an error: the client's (QFAPIErrorDomain), or
  // QFRecommendationErrorDomain 100 for an answer of another shape.
  template <typename Element>
  using Completion = std::function<void(List<Element> list, ErrorPtr error)>;

  // Takes the shared client; the facade is not kept.
  static std::shared_ptr<QFRecommendationService> initWithContactService(
      const std::shared_ptr<QFContactService>& contactService);

  QFRecommendationService(const QFRecommendationService&) = delete;
  QFRecommendationService& operator=(const QFRecommendationService&) = delete;

  const std::shared_ptr<QFAPIClient>& apiClient() const { return apiClient_; }
  const OSLogPtr& logger() const { return logger_; }

  // --- The three questions. Completions run on the main queue, where contacts are
  // looked up too. A call in flight keeps the service alive. --------------------

  // The contacts shared with other users, by score, the best first. Those that the
  // device does not have are left out.
  void getSharedContactsByUsersToInviteWithLimit(std::int64_t limit,
                                                 Completion<QFContactRecommendation> completion);
  // The contacts that use the application already, by the server's full name; the
  // contact is absent where the device does not have it.
  void getContactsUsingAppWithLimit(std::int64_t limit,
                                    Completion<QFLocalCanonicalContact> completion);
  // People of the server's, by full name; nothing is looked up.
  void getUsersYouMightKnowWithLimit(std::int64_t limit, Completion<QFCanonicalContact> completion);

  // --- Parts of the answers. All run on the calling thread, completions included,
  // before they return. -----------------------------------------------------------

  // Recommends the contacts with these identifiers, as far as the device has them,
  // by score. Never an error.
  void lookupContactsAndCreateRecommendationsWithContactIDs(
      const Array& contactIDs, std::int64_t type, Completion<QFContactRecommendation> completion);
  // The same for objects with "source_contact_id", the identifier, and
  // "organization_user_id". Objects without the former are skipped.
  void lookupContactsAndCreateRecommendationsWithContactInfos(
      const Array& contactInfos, std::int64_t type, Completion<QFContactRecommendation> completion);
  // Null, with a log line, without permission, without such a contact, or if the
  // store raises an exception.
  QFContactPtr findLocalContactByID(const std::string& contactID) const;
  // At most 1, for a number of QFRecommendationType; 0 for another one.
  double calculateRecommendationScoreForContact(const QFContact& contact, std::int64_t type) const;
  // The sentence for the user. The contact is not looked at.
  std::string generateRecommendationReasonForContact(const QFContact& contact,
                                                     std::int64_t type) const;

 private:
  QFRecommendationService();

  std::vector<QFContactRecommendationPtr> recommendationsForContactIDs(const Array& contactIDs,
                                                                       std::int64_t type) const;
  QFContactRecommendationPtr recommendationFor(const JSONField& contactID, std::int64_t type,
                                               JSONField organizationUserId) const;
  std::vector<QFLocalCanonicalContactPtr> appUsersFromInfos(const Array& infos) const;
  QFLocalCanonicalContactPtr appUserFromInfo(const Value& info) const;

  std::shared_ptr<QFAPIClient> apiClient_;
  OSLogPtr logger_;
};

}  // namespace quillfold
