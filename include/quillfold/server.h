// The client of the backend, the typed form of its contacts, and what archives it.
// Component core.
#pragma once

#include "api/api_client.h"
#include "api/api_config.h"
#include "api/api_error.h"
#include "api/api_response.h"
#include "api/device_info.h"
#include "api/records/server_contact.h"
#include "api/token_response.h"
#include "foundation/archive/keyed_archive.h"
#include "foundation/archive/keyed_archiver.h"
