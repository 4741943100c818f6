// What the manual page tells that the options and commands don't.
#pragma once

#include "apps/support/manual.h"

namespace host {

const support::Manual& manualTexts();

}  // namespace host
