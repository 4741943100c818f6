#include "sync/upload_problem.h"

#include "api/api_error.h"
#include "core/error.h"
#include "foundation/format.h"

namespace quillfold {

ErrorPtr uploadProblem(bool hasClient, std::int64_t length, std::int64_t batchSize) {
  if (!hasClient) {
    return QFError::errorWithCode(QFErrorCodeNotInitialized, "Quillfold not properly initialized");
  }
  if (length >= 0) return nullptr;
  return NSError::errorWithDomain(
      QFSyncErrorDomain, 1,
      {{NSLocalizedDescriptionKey, fmt::format("Invalid batch size: {}", batchSize)}});
}

}  // namespace quillfold
