// Component core: everything of Quillfold but the address book of vCards and HTTP by libcurl.
#pragma once

#include "adapters/asio/main_queue.h"
#include "adapters/asio/task_scheduler.h"
#include "adapters/linux/local_platform.h"
#include "quillfold/account.h"
#include "quillfold/contact_model.h"
#include "quillfold/facade.h"
#include "quillfold/platform.h"
#include "quillfold/server.h"
#include "quillfold/services.h"
#include "quillfold/sync.h"
#include "quillfold/version.h"
