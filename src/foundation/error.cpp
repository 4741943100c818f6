#include "foundation/error.h"

#include "foundation/format.h"

namespace quillfold {

ErrorPtr NSError::errorWithDomain(std::string domain, std::int64_t code, Dictionary userInfo,
                                  ErrorPtr underlyingError) {
  auto error = std::shared_ptr<NSError>(new NSError);
  error->domain_ = std::move(domain);
  error->code_ = code;
  error->userInfo_ = std::move(userInfo);
  error->underlyingError_ = std::move(underlyingError);
  return error;
}

std::string NSError::localizedDescription() const {
  if (auto text = stringForKey(userInfo_, NSLocalizedDescriptionKey)) return *text;
  return fmt::format("The operation couldn’t be completed. ({} error {}.)", domain_, code_);
}

std::string NSError::description() const {
  std::string entries;
  const auto add = [&entries](const std::string& key, const std::string& text) {
    entries += (entries.empty() ? "" : ", ") + key + '=' + text;
  };
  for (const auto& [key, value] : userInfo_)
    add(key, value.description());
  if (underlyingError_) add("NSUnderlyingError", '{' + underlyingError_->description() + '}');
  const auto text = stringForKey(userInfo_, NSLocalizedDescriptionKey);
  return fmt::format("Error Domain={} Code={} \"{}\"{}", domain_, code_, text.value_or("(null)"),
                     entries.empty() ? "" : " UserInfo={" + entries + '}');
}

}  // namespace quillfold
