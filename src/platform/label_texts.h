// What labels are called on the screen.
#pragma once

#include <map>
#include <string>

namespace quillfold {

// By the word inside the brackets of a platform label, in lower case.
using LabelTexts = std::map<std::string, std::string>;

// A text for every platform label that the address book uses.
const LabelTexts& englishLabelTexts();

// The text of a platform label, or its word in lower case if the table has none. Any
// other label unchanged.
std::string labelText(const LabelTexts& texts, const std::string& label);

}  // namespace quillfold
