// What an account asks of the services on top.
#include "account/account.h"
#include "account/account_session.h"
#include "api/api_error.h"
#include "api/contact_source.h"
#include "platform/background_tasks.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "recommendations/recommendation_service.h"
#include "search/contact_search_service.h"
#include "social/social_service.h"

namespace quillfold {

namespace {

constexpr std::size_t kLeastPhoneDigits = 3;

// A completion of (result, error) that ends with the result, or what it is without one.
template <typename T>
auto ends(const Ending<T>& ending) {
  return [ending](auto result, const ErrorPtr& error) {
    if (ending.failedWith(error)) return;
    if constexpr (requires { result.has_value(); }) {
      ending(std::move(result).value_or(T()));
    } else {
      ending(std::move(result));
    }
  };
}

Failure emptyAnswer() {
  return {QFAPIErrorDomain, QFAPIErrorCodeInvalidResponse, "The answer is empty"};
}

// A record that has to be there.
template <typename Record>
auto endsWithRecord(const Ending<std::shared_ptr<Record>>& ending) {
  return [ending](std::shared_ptr<Record> record, const ErrorPtr& error) {
    if (ending.failedWith(error)) return;
    if (record) return ending(std::move(record));
    ending(emptyAnswer());
  };
}

// The registration of the task is the process's, and its run the open account's.
void registerTask() {
  static const bool registered = BGTaskScheduler::sharedScheduler().registerForTaskWithIdentifier(
      QFContactSyncTaskIdentifier, Platform::current().mainQueue, &AccountSession::runTask);
  if (registered) return;
  throw Failure(BGTaskSchedulerErrorDomain, BGTaskSchedulerErrorCodeNotPermitted,
                std::string("Another handler has ") + QFContactSyncTaskIdentifier);
}

}  // namespace

// The digits of what can only be a phone number; everything else as it is.
std::string Account::searchText(const std::string& text) {
  std::string digits;
  for (const char c : text) {
    if (c >= '0' && c <= '9') {
      digits += c;
    } else if (std::string_view("+-()./ ").find(c) == std::string_view::npos) {
      return text;
    }
  }
  return digits.size() < kLeastPhoneDigits ? text : digits;
}

Operation<QFContactList> Account::plan() const {
  return asked<QFContactList>(session_, [s = session_.get()](const Ending<QFContactList>& ending) {
    s->service().getContactsForSyncWithCompletion(ends(ending));
  });
}

Operation<QFContactList> Account::contacts() const {
  return asked<QFContactList>(session_, [s = session_.get()](const Ending<QFContactList>& ending) {
    s->service().fetchContactsWithCompletion(ends(ending));
  });
}

Operation<QFContactPtr> Account::contact(std::string identifier) const {
  return asked<QFContactPtr>(session_, [s = session_.get(), identifier = std::move(identifier)](
                                           const Ending<QFContactPtr>& ending) {
    s->service().fetchContactWithIdentifier(identifier, ends(ending));
  });
}

Operation<ContactPage> Account::search(std::string text, Page page) const {
  return asked<ContactPage>(session_, [text = searchText(text),
                                       page](const Ending<ContactPage>& ending) {
    QFContactSearchService::sharedInstance()->searchContactsWithQuery(
        text, QFSearchFieldTypeAll, page.offset, page.limit,
        [ending](std::optional<QFContactList> contacts, std::int64_t total, const ErrorPtr& error) {
          if (ending.failedWith(error)) return;
          ending(ContactPage{std::move(contacts).value_or(QFContactList()), total});
        });
  });
}

Operation<QFContactList> Account::quickSearch(std::string text) const {
  return asked<QFContactList>(session_,
                              [text = std::move(text)](const Ending<QFContactList>& ending) {
                                QFContactSearchService::sharedInstance()->quickSearchWithQuery(
                                    text, QuickSearchCompletion(ends(ending)));
                              });
}

Operation<void> Account::deferSync() const {
  return asked<void>(session_, [](const Ending<void>& ending) {
    registerTask();
    BGProcessingTaskRequest request;
    request.identifier = QFContactSyncTaskIdentifier;
    request.earliestBeginDate = currentDate().dateByAddingTimeInterval(QFContactSyncTaskDelay);
    request.requiresNetworkConnectivity = true;
    ErrorPtr error;
    BGTaskScheduler::sharedScheduler().submitTaskRequest(request, &error);
    if (!ending.failedWith(error)) ending(std::monostate());
  });
}

Operation<std::vector<QFContactRecommendationPtr>> Account::peopleToInvite(
    std::int64_t limit) const {
  return asked<std::vector<QFContactRecommendationPtr>>(
      session_, [s = session_.get(), limit](const auto& ending) {
        s->recommendations().getSharedContactsByUsersToInviteWithLimit(limit, ends(ending));
      });
}

Operation<std::vector<QFLocalCanonicalContactPtr>> Account::contactsUsingApp(
    std::int64_t limit) const {
  return asked<std::vector<QFLocalCanonicalContactPtr>>(
      session_, [s = session_.get(), limit](const auto& ending) {
        s->recommendations().getContactsUsingAppWithLimit(limit, ends(ending));
      });
}

Operation<std::vector<QFCanonicalContactPtr>> Account::peopleYouMightKnow(
    std::int64_t limit) const {
  return asked<std::vector<QFCanonicalContactPtr>>(
      session_, [s = session_.get(), limit](const auto& ending) {
        s->recommendations().getUsersYouMightKnowWithLimit(limit, ends(ending));
      });
}

Operation<std::shared_ptr<QFFollowActionResponse>> Account::follow(std::string userId) const {
  return asked<std::shared_ptr<QFFollowActionResponse>>(
      session_, [s = session_.get(), userId = std::move(userId)](const auto& ending) {
        s->social().followUser(userId, endsWithRecord(ending));
      });
}

Operation<std::shared_ptr<QFFollowActionResponse>> Account::unfollow(std::string userId) const {
  return asked<std::shared_ptr<QFFollowActionResponse>>(
      session_, [s = session_.get(), userId = std::move(userId)](const auto& ending) {
        s->social().unfollowUser(userId, endsWithRecord(ending));
      });
}

Operation<bool> Account::isFollowing(std::string userId) const {
  return asked<bool>(
      session_, [s = session_.get(), userId = std::move(userId)](const Ending<bool>& ending) {
        s->social().isFollowingUser(
            userId,
            [ending](const std::shared_ptr<QFFollowStatusResponse>& status, const ErrorPtr& error) {
              if (ending.failedWith(error)) return;
              if (status) return ending(status->isFollowing());
              ending(emptyAnswer());
            });
      });
}

Operation<QFPaginatedFollowListPtr> Account::followers(Page page, OptionalString userId) const {
  return asked<QFPaginatedFollowListPtr>(
      session_, [s = session_.get(), page, userId = std::move(userId)](const auto& ending) {
        s->social().getFollowersWithUserId(userId, page.offset, page.limit, endsWithRecord(ending));
      });
}

Operation<QFPaginatedFollowListPtr> Account::following(Page page, OptionalString userId) const {
  return asked<QFPaginatedFollowListPtr>(
      session_, [s = session_.get(), page, userId = std::move(userId)](const auto& ending) {
        s->social().getFollowingWithUserId(userId, page.offset, page.limit, endsWithRecord(ending));
      });
}

Operation<std::shared_ptr<QFPaginatedMutualFollowers>> Account::mutualFollows(Page page) const {
  return asked<std::shared_ptr<QFPaginatedMutualFollowers>>(
      session_, [s = session_.get(), page](const auto& ending) {
        s->social().getMutualFollowsWithSkip(page.offset, page.limit, endsWithRecord(ending));
      });
}

Operation<std::shared_ptr<QFEventActionResponse>> Account::createEvent(
    std::shared_ptr<QFCreateEventRequest> event) const {
  return asked<std::shared_ptr<QFEventActionResponse>>(
      session_, [s = session_.get(), event = std::move(event)](const auto& ending) {
        s->social().createEvent(event, endsWithRecord(ending));
      });
}

Operation<std::shared_ptr<QFSocialEvent>> Account::event(std::string eventId) const {
  return asked<std::shared_ptr<QFSocialEvent>>(
      session_, [s = session_.get(), eventId = std::move(eventId)](const auto& ending) {
        s->social().getEvent(eventId, endsWithRecord(ending));
      });
}

Operation<std::shared_ptr<QFEventActionResponse>> Account::updateEvent(
    std::string eventId, std::shared_ptr<QFUpdateEventRequest> changes) const {
  return asked<std::shared_ptr<QFEventActionResponse>>(
      session_, [s = session_.get(), eventId = std::move(eventId),
                 changes = std::move(changes)](const auto& ending) {
        s->social().updateEvent(eventId, changes, endsWithRecord(ending));
      });
}

Operation<std::shared_ptr<QFEventActionResponse>> Account::deleteEvent(std::string eventId) const {
  return asked<std::shared_ptr<QFEventActionResponse>>(
      session_, [s = session_.get(), eventId = std::move(eventId)](const auto& ending) {
        s->social().deleteEvent(eventId, endsWithRecord(ending));
      });
}

Operation<std::shared_ptr<QFPaginatedEventList>> Account::events(Page page,
                                                                 OptionalString userId) const {
  return asked<std::shared_ptr<QFPaginatedEventList>>(
      session_, [s = session_.get(), page, userId = std::move(userId)](const auto& ending) {
        s->social().getUserEventsWithUserId(userId, page.offset, page.limit,
                                            endsWithRecord(ending));
      });
}

Operation<std::shared_ptr<QFPaginatedEventList>> Account::feed(Page page) const {
  return asked<std::shared_ptr<QFPaginatedEventList>>(
      session_, [s = session_.get(), page](const auto& ending) {
        s->social().getFeedWithSkip(page.offset, page.limit, endsWithRecord(ending));
      });
}

Operation<std::shared_ptr<QFPaginatedEventList>> Account::upcomingEvents(Page page) const {
  return asked<std::shared_ptr<QFPaginatedEventList>>(
      session_, [s = session_.get(), page](const auto& ending) {
        s->social().getUpcomingEventsWithSkip(page.offset, page.limit, endsWithRecord(ending));
      });
}

Operation<std::shared_ptr<QFPaginatedEventList>> Account::forYou(Page page) const {
  return asked<std::shared_ptr<QFPaginatedEventList>>(
      session_, [s = session_.get(), page](const auto& ending) {
        s->social().getForYouFeedWithSkip(page.offset, page.limit, endsWithRecord(ending));
      });
}

}  // namespace quillfold
