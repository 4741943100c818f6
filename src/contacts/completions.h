// What the operations of the facade report to.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "foundation/error.h"
#include "model/contact.h"

namespace quillfold {

// Success and, on failure, the error.
using SuccessCompletion = std::function<void(bool success, ErrorPtr error)>;
// Exactly one of the two is present.
using ContactsCompletion =
    std::function<void(std::optional<QFContactList> contacts, ErrorPtr error)>;
using ContactCompletion = std::function<void(QFContactPtr contact, ErrorPtr error)>;
// With both a count and an error the result is partial.
using CountCompletion = std::function<void(std::int64_t count, ErrorPtr error)>;

}  // namespace quillfold
