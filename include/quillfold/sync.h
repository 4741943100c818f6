// The bookkeeping of the sync, and contact sources.
// Component core.
#pragma once

#include "api/contact_source.h"
#include "sync/contact_sync_info.h"
#include "sync/sync_info_dictionary.h"
