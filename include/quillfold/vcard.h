// Component vcard: an address book of vCard files.
#pragma once

#include "adapters/linux/book/vcard_contacts.h"
