// Social events and the feeds of them.
#include "api/api_config.h"
#include "foundation/record_description.h"
#include "social/social_requests.h"

namespace quillfold {

void QFSocialService::createEvent(const std::shared_ptr<QFCreateEventRequest>& event,
                                  Completion<QFEventActionResponse> completion) {
  apiClient_->post(QFAPIConfig::eventsEndpoint(), wireEntry(event), {}, true,
                   recordOf(shared_from_this(), std::move(completion)));
}

void QFSocialService::getEvent(const std::string& eventId, Completion<QFSocialEvent> completion) {
  apiClient_->get(pathWithIdentifier(QFAPIConfig::eventsEndpoint(), eventId), {}, true,
                  recordOf(shared_from_this(), std::move(completion)));
}

void QFSocialService::updateEvent(const std::string& eventId,
                                  const std::shared_ptr<QFUpdateEventRequest>& eventData,
                                  Completion<QFEventActionResponse> completion) {
  apiClient_->put(pathWithIdentifier(QFAPIConfig::eventsEndpoint(), eventId), wireEntry(eventData),
                  {}, true, recordOf(shared_from_this(), std::move(completion)));
}

void QFSocialService::deleteEvent(const std::string& eventId,
                                  Completion<QFEventActionResponse> completion) {
  apiClient_->delete_(pathWithIdentifier(QFAPIConfig::eventsEndpoint(), eventId), {}, true,
                      recordOf(shared_from_this(), std::move(completion)));
}

void QFSocialService::getUserEventsWithUserId(const OptionalString& userId, std::int64_t skip,
                                              std::int64_t limit,
                                              Completion<QFPaginatedEventList> completion) {
  apiClient_->getSocialData(QFAPIConfig::eventsEndpoint(), pageParameters(skip, limit, userId),
                            recordOf(shared_from_this(), std::move(completion)));
}

void QFSocialService::getFeedWithSkip(std::int64_t skip, std::int64_t limit,
                                      Completion<QFPaginatedEventList> completion) {
  apiClient_->getSocialData(QFAPIConfig::feedEndpoint(), pageParameters(skip, limit),
                            recordOf(shared_from_this(), std::move(completion)));
}

void QFSocialService::getUpcomingEventsWithSkip(std::int64_t skip, std::int64_t limit,
                                                Completion<QFPaginatedEventList> completion) {
  apiClient_->getSocialData(QFAPIConfig::upcomingEventsEndpoint(), pageParameters(skip, limit),
                            recordOf(shared_from_this(), std::move(completion)));
}

void QFSocialService::getForYouFeedWithSkip(std::int64_t skip, std::int64_t limit,
                                            Completion<QFPaginatedEventList> completion) {
  apiClient_->getSocialData(QFAPIConfig::forYouEndpoint(), pageParameters(skip, limit),
                            recordOf(shared_from_this(), std::move(completion)));
}

}  // namespace quillfold
