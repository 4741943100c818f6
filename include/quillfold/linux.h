// The Linux platform and what a host can set of it.
#pragma once

#include "adapters/asio/main_queue.h"
#include "adapters/asio/task_scheduler.h"
#include "adapters/linux/linux_device.h"
#include "adapters/linux/linux_platform.h"
#include "adapters/linux/vcard_contacts.h"
