#include "foundation/error.h"
#include "foundation/hash.h"
#include "model/contact.h"

namespace quillfold {

std::string QFContact::generateContactHash() const {
  if (!matchString_) throw NSException(NSInvalidArgumentException, "The match string is absent.");
  return sha256(*matchString_);
}

std::string QFContact::sha256(const std::string& text) const {
  // The text counts as zero-terminated.
  return sha256Hex(std::string_view(text).substr(0, text.find('\0')));
}

}  // namespace quillfold
