// What stands in the way of an upload.
#pragma once

#include <cstdint>

#include "contacts/batches.h"
#include "foundation/error.h"

namespace quillfold {

// Why a batch can't be uploaded: without a client (QFErrorDomain 1005), or with a negative
// length (QFSyncErrorDomain 1), which is the fault of a negative size, else of the index.
// Null if it can.
ErrorPtr uploadProblem(bool hasClient, Batch batch, std::int64_t batchSize,
                       std::int64_t batchIndex);

}  // namespace quillfold
