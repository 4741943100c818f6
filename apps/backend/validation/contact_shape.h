// The two forms in which a contact comes up.
#pragma once

#include "apps/backend/validation/shape.h"

namespace quillfold::backend {

// The shape that a contact means to have. An upload writes every field that it
// lacks as null; a record leaves such fields out. The lists' entries differ
// between the two as well, and each entry is judged by itself, since a record
// that was read from an upload keeps the nulls of its own fields.
const Shape& contactShape(const nlohmann::json& contact);

}  // namespace quillfold::backend
