// Headers that most sources of the host use.
#pragma once

#include <algorithm>
#include <iostream>

#include "quillfold/quillfold.h"
