// Following, being followed, and the lists of both.
#include "api/api_config.h"
#include "facade/service_slot.h"
#include "social/social_requests.h"

namespace quillfold {

namespace {

ErrorPtr invalidFollowResponse() {
  return NSError::errorWithDomain(QFSocialServiceErrorDomain,
                                  QFSocialServiceErrorCodeInvalidResponse,
                                  {{NSLocalizedDescriptionKey, "Invalid response format"}});
}

}  // namespace

std::shared_ptr<QFSocialService> QFSocialService::initWithContactService(
    std::shared_ptr<QFContactService> contactService) {
  return std::shared_ptr<QFSocialService>(new QFSocialService(std::move(contactService)));
}

QFSocialService::QFSocialService(std::shared_ptr<QFContactService> contactService)
    : apiClient_(QFAPIClient::sharedInstance()), contactService_(std::move(contactService)) {}

void QFSocialService::followUser(const std::string& userId,
                                 Completion<QFFollowActionResponse> completion) {
  apiClient_->post(QFAPIConfig::followEndpoint(), Dictionary{{"user_id", userId}}, {}, true,
                   recordOf(shared_from_this(), std::move(completion)));
}

void QFSocialService::unfollowUser(const std::string& userId,
                                   Completion<QFFollowActionResponse> completion) {
  apiClient_->delete_(pathWithIdentifier(QFAPIConfig::unfollowEndpoint(), userId), {}, true,
                      recordOf(shared_from_this(), std::move(completion)));
}

void QFSocialService::isFollowingUser(const std::string& userId,
                                      Completion<QFFollowStatusResponse> completion) {
  apiClient_->get(pathWithIdentifier(QFAPIConfig::isFollowingEndpoint(), userId), {}, true,
                  recordOf(shared_from_this(), std::move(completion)));
}

void QFSocialService::getFollowersWithUserId(const OptionalString& userId, std::int64_t skip,
                                             std::int64_t limit,
                                             Completion<QFPaginatedFollowList> completion) {
  getFollowList(QFAPIConfig::followersEndpoint(), userId, skip, limit, std::move(completion));
}

void QFSocialService::getFollowingWithUserId(const OptionalString& userId, std::int64_t skip,
                                             std::int64_t limit,
                                             Completion<QFPaginatedFollowList> completion) {
  getFollowList(QFAPIConfig::followingEndpoint(), userId, skip, limit, std::move(completion));
}

void QFSocialService::getMutualFollowsWithSkip(std::int64_t skip, std::int64_t limit,
                                               Completion<QFPaginatedMutualFollowers> completion) {
  apiClient_->getSocialData(
      QFAPIConfig::mutualFollowsEndpoint(), pageParameters(skip, limit),
      recordOf(shared_from_this(), std::move(completion), invalidFollowResponse()));
}

void QFSocialService::getFollowList(const std::string& endpoint, const OptionalString& userId,
                                    std::int64_t skip, std::int64_t limit,
                                    Completion<QFPaginatedFollowList> completion) {
  if (!completion) completion = [](const auto&, const auto&) {};
  Completion<QFPaginatedFollowList> enrich =
      [self = shared_from_this(), completion = std::move(completion)](
          const QFPaginatedFollowListPtr& list, const ErrorPtr& error) {
        if (!list) return completion(nullptr, error);
        self->enrichWithLocalContacts(list, [completion](const QFPaginatedFollowListPtr& enriched) {
          completion(enriched, nullptr);
        });
      };
  apiClient_->getSocialData(
      endpoint, pageParameters(skip, limit, userId),
      recordOf(shared_from_this(), std::move(enrich), invalidFollowResponse()));
}

std::shared_ptr<QFSocialService> QFContactService::socialService() {
  return serviceIfReady<QFSocialService>(*this, "socialService");
}

}  // namespace quillfold
