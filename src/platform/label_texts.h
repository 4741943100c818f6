// What labels are called on the screen.
#pragma once

#include <map>
#include <string>

#include "foundation/export.h"

namespace quillfold {

// By the word inside the brackets of a platform label, in lower case.
using LabelTexts = std::map<std::string, std::string>;

// The English texts that are not the word itself.
QUILLFOLD_EXPORT_INTERNAL const LabelTexts& englishLabelTexts();

// The text of a platform label, or its word in lower case if the table has none. Any
// other label unchanged.
QUILLFOLD_EXPORT_INTERNAL std::string labelText(const LabelTexts& texts, const std::string& label);

}  // namespace quillfold
