#include "sync/upload_problem.h"

#include "api/api_error.h"
#include "core/error.h"
#include "foundation/format.h"

namespace quillfold {

ErrorPtr uploadProblem(bool hasClient, Batch batch, std::int64_t batchSize,
                       std::int64_t batchIndex) {
  if (!hasClient) {
    return QFError::errorWithCode(QFErrorCodeNotInitialized, "Quillfold not properly initialized");
  }
  if (batch.length >= 0) return nullptr;
  const std::string text = batchSize < 0 ? fmt::format("Invalid batch size: {}", batchSize)
                                         : fmt::format("Invalid batch index: {}", batchIndex);
  return NSError::errorWithDomain(QFSyncErrorDomain, 1, {{NSLocalizedDescriptionKey, text}});
}

}  // namespace quillfold
