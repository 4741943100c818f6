// What the device keeps for each of its users.
#pragma once

#include <string>

namespace quillfold {

class QFContactService;

// Where the user's bookkeeping is; asks and changes nothing else.
std::string bookkeepingPathOf(const std::string& userId);

// Makes the user the one that the library works for, before it starts: the client's user
// and no token of another's, the identifier of the contact source, and the bookkeeping. The
// first user of a home, or the one whose file is there already, has the usual file; every
// other has one of his own beside it. Throws a Failure, and changes nothing, where the settings
// can't be read or written.
void adoptUser(QFContactService& service, const std::string& userId);

}  // namespace quillfold
