// The contact record and its mapping from and to the address book.
// Component core.
#pragma once

#include "model/contact.h"
#include "model/contact_mapper.h"
#include "model/contact_values.h"
