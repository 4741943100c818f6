// Component desktop: the address books of the desktop. Not part of quillfold.h.
#pragma once

#include "adapters/desktop/desktop_contacts.h"
