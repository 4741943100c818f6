#include "sync/local_batches.h"

#include "contacts/batches.h"
#include "platform/clock.h"
#include "platform/log_line.h"

namespace quillfold {

void processContactsInBatches(QFContactList contacts, std::int64_t batchSize,
                              std::int64_t batchIndex, std::int64_t processedCount,
                              CountCompletion completion) {
  const auto count = static_cast<std::int64_t>(contacts.size());
  while (true) {
    // Compared with a sign, unlike the upload's batches.
    const auto range = nextBatch(count, batchSize, batchIndex, Comparison::Signed);
    if (!range) return completion(processedCount, nullptr);
    if (batchSize == 0) throw NSException(NSInvalidArgumentException, "The batch size is 0.");
    const auto batch = slice(contacts, *range);
    batchIndex = sum(batchIndex, 1);
    logLine("Processing batch {} of {}", batchIndex, batchCount(count, batchSize));
    std::int64_t processed = 0;
    ErrorPtr failure;
    processBatch(batch, [&](std::int64_t batchProcessed, const ErrorPtr& error) {
      processed = batchProcessed;
      failure = error;
    });
    if (failure) {
      logLine("Error processing batch {}: {}", batchIndex, failure->localizedDescription());
      return completion(processedCount, failure);
    }
    logLine("Batch {} complete, processed {} contacts", batchIndex, processed);
    processedCount = sum(processedCount, processed);
  }
}

void processBatch(const QFContactList& contacts, CountCompletion completion) {
  const double now = currentTime();
  for (const QFContactPtr& contact : contacts)
    contact->setLastSyncedAt(now);
  completion(static_cast<std::int64_t>(contacts.size()), nullptr);
}

}  // namespace quillfold
