// One signed-in user on this device: where a host begins.
// Component core.
#pragma once

#include "account/account.h"
#include "quillfold/operation.h"
