// What stands in the way of an upload.
#pragma once

#include <cstdint>

#include "foundation/error.h"

namespace quillfold {

// Why no batch can be uploaded: without a client (QFErrorDomain 1005), or with a negative
// length (QFSyncErrorDomain 1, of the given batch size). Null if one can.
ErrorPtr uploadProblem(bool hasClient, std::int64_t length, std::int64_t batchSize);

}  // namespace quillfold
