// The search of the device, without an account.
#pragma once

#include "quillfold/quillfold.h"

namespace host {

// As Account::search has it, in the fields of QFSearchFieldType.
quillfold::Operation<quillfold::ContactPage> searchContacts(const std::string& text,
                                                            std::uint64_t field,
                                                            quillfold::Page page);

}  // namespace host
