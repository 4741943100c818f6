// The seam to the system, for hosts that replace a part of it.
// Component core.
#pragma once

#include "events/view_controller.h"
#include "foundation/error.h"
#include "foundation/json.h"
#include "foundation/value.h"
#include "platform/contacts.h"
#include "platform/platform.h"
