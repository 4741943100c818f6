// The second sync driver: a deferred task of the system. Nothing in the library
// starts it, a host does.
#include "api/api_client.h"
#include "api/api_config.h"
#include "api/api_error.h"
#include "api/contact_source.h"
#include "contacts/batches.h"
#include "facade/contact_service_parts.h"
#include "platform/background_tasks.h"
#include "platform/clock.h"
#include "platform/log_line.h"
#include "platform/platform.h"
#include "sync/upload_problem.h"

namespace quillfold {

namespace {

constexpr const char* kRegisteredKey = "com.quillfold.backgroundTasksRegistered";

QFContactService& facade() {
  return *QFContactService::sharedInstance();
}

OptionalString textOf(const JSONField& field) {
  return field.isAbsent() ? std::nullopt : OptionalString(field.description());
}

// What a failed request for a run means, by the first of these texts that its
// description contains.
struct SchedulingFailure {
  const char* text;
  const char* line;
};
constexpr SchedulingFailure kNoHandler = {"No launch handler registered",
                                          "Background sync not enabled for this app"};
constexpr SchedulingFailure kOtherFailures[] = {
    {"Missing background mode entitlement", "App is missing background processing entitlement"},
    {"Background execution", "Background execution is disabled by user in Settings"},
};

}  // namespace

void QFContactSource::setupSyncWithUserId(std::string userId, std::int64_t batchSize) {
  setUserId(userId);
  setBatchSize(std::min(QFAPIConfig::maxContactsPerBatch(), batchSize));
  setLogger(os_log_create("com.quillfold", "ContactSyncManager"));
  setRunning(false);
  setBackgroundTaskRegistered(false);
  // A client of its own, without a link to the facade.
  if (!apiClient()) setApiClient(QFAPIClient::initWithUserId(std::move(userId), nullptr));
}

void QFContactSource::registerBackgroundTasks() {
  if (backgroundTaskRegistered()) return;
  const bool registered = BGTaskScheduler::sharedScheduler().registerForTaskWithIdentifier(
      QFContactSyncTaskIdentifier, Platform::current().mainQueue,
      [self = shared_from_this()](const std::shared_ptr<BGTask>& task) {
        if (const auto processing = std::dynamic_pointer_cast<BGProcessingTask>(task)) {
          return self->handleBackgroundSyncTask(processing);
        }
        task->setTaskCompletedWithSuccess(false);
        os_log_error(self->logger(), "Received unexpected task type");
      });
  if (!registered) {
    os_log_error(logger(),
                 "Failed to register background task. Please ensure the app has the proper "
                 "entitlements and Info.plist configuration.");
    return;
  }
  os_log_info(logger(), "Successfully registered background task: {}", QFContactSyncTaskIdentifier);
  setBackgroundTaskRegistered(true);
}

void QFContactSource::handleBackgroundSyncTask(const std::shared_ptr<BGProcessingTask>& task) {
  task->setExpirationHandler([self = shared_from_this()] {
    // Neither completes the task nor stops the run.
    self->cancelSync();
    os_log_error(self->logger(), "Background sync task expired");
  });
  syncContactsWithCompletion(
      [self = shared_from_this(), task](std::int64_t count, const ErrorPtr& error) {
        if (error) {
          os_log_error(self->logger(), "Background sync failed: {}", error->localizedDescription());
        } else {
          os_log_info(self->logger(),
                      "Background sync completed successfully: {} contacts processed", count);
        }
        task->setTaskCompletedWithSuccess(error == nullptr);
      });
}

void QFContactSource::scheduleBackgroundSync() {
  NSUserDefaults& defaults = NSUserDefaults::standardUserDefaults();
  if (!backgroundTaskRegistered()) {
    if (!defaults.boolForKey(kRegisteredKey)) {
      os_log_info(logger(),
                  "Background sync not scheduled: tasks are not registered. This is normal if "
                  "background sync was not enabled.");
      return;
    }
    setBackgroundTaskRegistered(true);
  }
  BGProcessingTaskRequest request;
  request.identifier = QFContactSyncTaskIdentifier;
  request.earliestBeginDate = currentDate().dateByAddingTimeInterval(QFContactSyncTaskDelay);
  request.requiresNetworkConnectivity = true;
  ErrorPtr error;
  if (BGTaskScheduler::sharedScheduler().submitTaskRequest(request, &error)) {
    os_log_info(logger(), "Background sync task scheduled successfully");
  } else {
    explainSchedulingFailure(error ? error->localizedDescription() : std::string());
  }
}

void QFContactSource::explainSchedulingFailure(const std::string& description) {
  if (description.find(kNoHandler.text) != std::string::npos) {
    os_log_info(logger(), kNoHandler.line);
    setBackgroundTaskRegistered(false);
    NSUserDefaults::standardUserDefaults().setObject(false, kRegisteredKey);
    return;
  }
  for (const SchedulingFailure& failure : kOtherFailures) {
    if (description.find(failure.text) != std::string::npos) {
      return os_log_info(logger(), failure.line);
    }
  }
  os_log_info(logger(), "Could not schedule background sync: {}", description);
}

void QFContactSource::syncContactsWithCompletion(DeferredCompletion completion) {
  if (running_.exchange(true)) {
    return completion(0, NSError::errorWithDomain(QFSyncErrorDomain, 0,
                                                  {{NSLocalizedDescriptionKey,
                                                    "Sync operation is already in progress"}}));
  }
  if (sourceId().isAbsent()) {
    setRunning(false);
    return completion(0,
                      NSError::errorWithDomain(QFContactSourceErrorDomain, 1,
                                               {{NSLocalizedDescriptionKey, "Missing source ID"}}));
  }
  facade().fetchContactsWithCompletion(
      [self = shared_from_this(), completion = std::move(completion)](
          const std::optional<QFContactList>& contacts, const ErrorPtr& error) {
        self->uploadChanged(contacts, error, completion);
      });
}

void QFContactSource::uploadChanged(const std::optional<QFContactList>& contacts,
                                    const ErrorPtr& error, const DeferredCompletion& completion) {
  const auto finish = [this, &completion](const char* line, const ErrorPtr& failure) {
    setRunning(false);
    if (line != nullptr) os_log_info(logger(), line);
    completion(0, failure);
  };
  if (error) return finish(nullptr, error);
  if (contacts->empty()) return finish("No contacts to sync", nullptr);
  QFContactList changed;
  for (const QFContactPtr& contact : *contacts) {
    if (!facade().hasContactChanged(*contact)) continue;
    contact->setSourceId(textOf(sourceId()));
    changed.push_back(contact);
  }
  if (changed.empty()) return finish("No contacts have changed since last sync", nullptr);
  os_log_info(logger(), "Starting sync for {} contacts", changed.size());
  syncContactBatch(changed, 0, 0,
                   [self = shared_from_this(), changed, completion](std::int64_t count,
                                                                    const ErrorPtr& batchError) {
                     self->finishRun(changed, count, batchError, completion);
                   });
}

// All contacts are recorded, or none, unlike in the facade's sync.
void QFContactSource::finishRun(const QFContactList& contacts, std::int64_t count,
                                const ErrorPtr& error, const DeferredCompletion& completion) {
  setRunning(false);
  if (error) {
    os_log_error(logger(), "Sync failed: {}", error->localizedDescription());
    return completion(count, error);
  }
  os_log_info(logger(), "Sync completed successfully, processed {} contacts", count);
  for (const QFContactPtr& contact : contacts)
    facade().saveSyncInfoForContact(*contact);
  engineOf(facade()).synchronizeRecords();
  completion(count, nullptr);
}

void QFContactSource::syncContactBatch(QFContactList contacts, std::int64_t currentBatchIndex,
                                       std::int64_t processedCount, DeferredCompletion completion) {
  const std::int64_t size = batchSize();
  const auto count = static_cast<std::int64_t>(contacts.size());
  const auto range = nextBatch(count, size, currentBatchIndex, Comparison::Signed);
  if (!range) return completion(processedCount, nullptr);
  if (const ErrorPtr problem =
          uploadProblem(apiClient() != nullptr, *range, size, currentBatchIndex)) {
    return completion(processedCount, problem);
  }
  const auto batch = slice(contacts, *range);
  const std::int64_t next = sum(currentBatchIndex, 1);
  os_log_info(logger(), "Processing batch {} of {}", next, batchCount(count, size));
  apiClient()->syncContacts(
      batch, true,
      [self = shared_from_this(), contacts = std::move(contacts), batch, next, processedCount,
       completion = std::move(completion)](std::int64_t processed, const ErrorPtr& error) {
        if (error) {
          os_log_error(self->logger(), "Error syncing batch {}: {}", next,
                       error->localizedDescription());
          return completion(processedCount, error);
        }
        const double now = currentTime();
        for (const QFContactPtr& contact : batch)
          contact->setLastSyncedAt(now);
        os_log_info(self->logger(), "Batch {} complete, processed {} contacts", next, processed);
        self->syncContactBatch(contacts, next, sum(processedCount, processed), completion);
      });
}

void QFContactSource::cancelSync() {
  // The run itself goes on to its end.
  if (running_.exchange(false)) os_log_info(logger(), "Sync operation cancelled");
}

}  // namespace quillfold
