// What the registration of a source and an upload need first.
#include "api/api_client.h"
#include "api/api_error.h"

namespace quillfold {

void QFAPIClient::authorizeUpload(AuthorizationCompletion completion,
                                  const RequestControl& control) {
  refreshTokenWithCompletionHandler(
      [self = shared_from_this(), completion = std::move(completion), control](
          const OptionalString& token, const ErrorPtr& tokenError) {
        if (tokenError) return completion(std::nullopt, tokenError);
        self->getUserInfoWithCompletionHandler(
            [token, completion](const std::optional<Dictionary>& user, const ErrorPtr& userError) {
              if (userError) return completion(std::nullopt, userError);
              const Value* organizationId = find(*user, "organization_id");
              if (organizationId == nullptr) {
                return completion(std::nullopt, QFAPIError::errorWithCode(QFAPIErrorCodeDecoding));
              }
              completion(UploadAuthorization{*token, *organizationId}, nullptr);
            },
            control);
      },
      control);
}

}  // namespace quillfold
