// A walk over contacts in batches that sends nothing.
#pragma once

#include <cstdint>

#include "contacts/completions.h"

namespace quillfold {

// See the operations of these names in QFContactService.
void processContactsInBatches(QFContactList contacts, std::int64_t batchSize,
                              std::int64_t batchIndex, std::int64_t processedCount,
                              CountCompletion completion);
void processBatch(const QFContactList& contacts, CountCompletion completion);

}  // namespace quillfold
