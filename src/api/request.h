// How the client's requests are built.
#pragma once

#include <optional>
#include <string>

#include "foundation/error.h"
#include "foundation/value.h"
#include "platform/url_session.h"

namespace quillfold {

// A request to a path under the base address of this moment.
NSMutableURLRequest makeRequest(const std::string& endpoint, const std::string& method);

// The same, announced as JSON.
NSMutableURLRequest jsonRequest(const std::string& endpoint, const std::string& method);

// A POST with that body; absent, with the error set, for one that JSON can't express.
std::optional<NSMutableURLRequest> jsonPost(const std::string& endpoint, const Value& body,
                                            ErrorPtr* error = nullptr);

void addBearer(NSMutableURLRequest& request, const std::string& token);

}  // namespace quillfold
