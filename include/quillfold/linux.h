// Component linux: the whole Linux platform and what a host can set of it.
#pragma once

#include "adapters/linux/device/linux_device.h"
#include "adapters/linux/device/linux_platform.h"
#include "quillfold/core.h"
#include "quillfold/curl.h"
#include "quillfold/vcard.h"
