// The client of the backend.
#pragma once

#include "api/api_client.h"
#include "api/api_config.h"
#include "api/api_error.h"
#include "api/api_response.h"
#include "api/device_info.h"
#include "api/token_response.h"
