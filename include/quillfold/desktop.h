// The address books of the desktop. Link quillfold::desktop.
#pragma once

#include "adapters/desktop/desktop_contacts.h"
