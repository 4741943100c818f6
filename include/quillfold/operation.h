// Work that ends later, its result, and its failure.
// Component core.
#pragma once

#include "account/failure.h"
#include "account/operation.h"
