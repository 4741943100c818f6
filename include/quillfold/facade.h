// The facade: lifecycle, permission, reading contacts, options.
#pragma once

#include "core/contact_service.h"
#include "core/contacts_authorization.h"
#include "core/error.h"
#include "core/options.h"
#include "core/user_info.h"
