// Everything that a host uses of Quillfold.
#pragma once

#include "quillfold/account.h"
#include "quillfold/contact_model.h"
#include "quillfold/facade.h"
#include "quillfold/linux.h"
#include "quillfold/platform.h"
#include "quillfold/server.h"
#include "quillfold/services.h"
#include "quillfold/sync.h"
#include "quillfold/version.h"
