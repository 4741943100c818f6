// The tables.
#pragma once

#include "apps/backend/store/database.h"

namespace quillfold::backend {

// Creates the tables, or brings those of an older version up to date. Throws
// DatabaseError, also for a file that a newer version wrote.
void prepareSchema(Database& database);

}  // namespace quillfold::backend
