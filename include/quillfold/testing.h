// A platform for hosts' own tests; link quillfold::testing. Not part of
// quillfold.h.
#pragma once

#include "testing/fake_platform.h"
