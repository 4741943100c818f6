// Contacts and their records as lines and as JSON.
#pragma once

#include "quillfold/quillfold.h"

namespace host {

// Its fields, what is known of its uploads, and its identifier, line by line.
std::vector<std::string> contactLines(const quillfold::QFContact& contact,
                                      const quillfold::QFContactSyncInfo& record);
// The contact and the object that a sync would upload. The identifiers in that are those of
// the last sync; "" before the first.
quillfold::Dictionary contactObject(const quillfold::QFContact& contact);
quillfold::Dictionary recordObject(const quillfold::QFContactSyncInfo& record);

}  // namespace host
