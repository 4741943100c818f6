#include "apps/quillfold/desktop_books.h"

#ifdef QUILLFOLD_DESKTOP
#include "quillfold/desktop.h"
#else
#include "apps/quillfold/output.h"
#endif

namespace host {

void useDesktopBooks([[maybe_unused]] quillfold::Platform& platform,
                     [[maybe_unused]] quillfold::AccessQuestion question) {
#ifdef QUILLFOLD_DESKTOP
  quillfold::desktopContacts({.question = std::move(question)})(platform);
#else
  throw hostFailure(
      "Built without the desktop's address books: the package libebook1.2-dev was missing");
#endif
}

}  // namespace host
