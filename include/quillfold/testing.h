// Component testing: a platform for hosts' own tests. Not part of
// quillfold.h.
#pragma once

#include "testing/fake_platform.h"
