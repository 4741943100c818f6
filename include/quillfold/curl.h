// Component curl: HTTP by libcurl.
#pragma once

#include "adapters/curl/curl_session.h"
