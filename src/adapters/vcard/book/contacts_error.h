// The errors of the address book.
#pragma once

#include <string>

#include "platform/contact_store.h"

namespace quillfold {

inline ErrorPtr contactsError(std::int64_t code, std::string text) {
  return NSError::errorWithDomain(CNErrorDomain, code,
                                  {{NSLocalizedDescriptionKey, std::move(text)}});
}

inline ErrorPtr accessDeniedError() {
  return contactsError(CNErrorCodeAuthorizationDenied, "Access to the contacts was denied.");
}

}  // namespace quillfold
