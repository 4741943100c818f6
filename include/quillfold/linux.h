// The Linux platform and what a host can set of it.
#pragma once

#include "platform/linux/background/task_scheduler.h"
#include "platform/linux/contacts/vcard_contacts.h"
#include "platform/linux/linux_platform.h"
#include "platform/linux/main_queue.h"
