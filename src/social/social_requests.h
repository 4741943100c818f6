// What the calls of the social service share: their queries, their paths and the
// reading of their answers.
#pragma once

#include "api/api_client.h"
#include "foundation/format.h"
#include "social/social_service.h"

namespace quillfold {

// The identifier goes in unescaped: one with a "/" changes the path.
inline std::string pathWithIdentifier(const std::string& endpoint, const std::string& identifier) {
  return fmt::format("{}/{}", endpoint, identifier);
}

inline QFAPIClient::Parameters pageParameters(std::int64_t skip, std::int64_t limit,
                                              const OptionalString& userId = {}) {
  QFAPIClient::Parameters parameters{{"skip", fmt::format("{}", skip)},
                                     {"limit", fmt::format("{}", limit)}};
  if (userId) parameters["user_id"] = *userId;
  return parameters;
}

// Hands on the record that an answer holds. An answer that is no object gives no
// record and `wrongForm`, which for most calls is no error either.
template <typename Record>
QFAPIClient::RequestCompletion recordOf(std::shared_ptr<QFSocialService> service,
                                        QFSocialService::Completion<Record> completion,
                                        ErrorPtr wrongForm = nullptr) {
  return [service = std::move(service), completion = std::move(completion),
          wrongForm = std::move(wrongForm)](const std::optional<Value>& result,
                                            const ErrorPtr& error) {
    if (!completion) return;
    if (error) return completion(nullptr, error);
    const Dictionary* dictionary = result->asDictionary();
    if (dictionary == nullptr) return completion(nullptr, wrongForm);
    completion(Record::initWithDictionary(*dictionary), nullptr);
  };
}

}  // namespace quillfold
