// The facade: lifecycle, permission, reading contacts, options.
// Component core.
#pragma once

#include "contacts/contacts_authorization.h"
#include "core/error.h"
#include "core/options.h"
#include "core/user_info.h"
#include "facade/contact_service.h"
