// What a sync has done, as this program tells of it.
#pragma once

#include "quillfold/quillfold.h"

namespace host {

// Adds a run to what those before it have done: it has the last word on all but the counts.
void add(quillfold::SyncReport& sum, const quillfold::SyncReport& run);
// Whether it ended by itself and all that went up is on record.
bool isWhole(const quillfold::SyncReport& report);
// Says on standard error what is not as it should be, cards that were left out included.
void sayProblems(const quillfold::SyncReport& report);
// One sentence.
std::string reportText(const quillfold::SyncReport& report);
quillfold::Dictionary reportObject(const quillfold::SyncReport& report);

}  // namespace host
