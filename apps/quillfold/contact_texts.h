// Contacts and their records as lines and as JSON.
#pragma once

#include "apps/quillfold/session.h"

namespace host {

// Its fields, what is known of its uploads, and its identifier, line by line.
std::vector<std::string> contactLines(const quillfold::QFContact& contact,
                                      const quillfold::QFContactSyncInfo& record);
// The contact and the object that a sync would upload. The identifiers in that are those of
// the user's last sync; "" before the first, and once another user was signed in.
quillfold::Dictionary contactObject(const Session& session, const quillfold::QFContact& contact);
quillfold::Dictionary recordObject(const quillfold::QFContactSyncInfo& record);

}  // namespace host
