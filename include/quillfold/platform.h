// The seam to the system, for hosts that replace a part of it.
#pragma once

#include "platform/contacts.h"
#include "platform/error.h"
#include "platform/json.h"
#include "platform/platform.h"
#include "platform/value.h"
