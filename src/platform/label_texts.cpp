#include "platform/label_texts.h"

#include <algorithm>
#include <string_view>

namespace quillfold {

const LabelTexts& englishLabelTexts() {
  static const LabelTexts& texts = *new LabelTexts{
      {"homefax", "home fax"},
      {"workfax", "work fax"},
      {"otherfax", "other fax"},
      {"applewatch", "Apple Watch"},
  };
  return texts;
}

std::string labelText(const LabelTexts& texts, const std::string& label) {
  constexpr std::string_view kStart = "_$!<";
  constexpr std::string_view kEnd = ">!$_";
  const bool platformLabel = label.size() > kStart.size() + kEnd.size() &&
                             label.starts_with(kStart) && label.ends_with(kEnd);
  if (!platformLabel) return label;
  std::string word = label.substr(kStart.size(), label.size() - kStart.size() - kEnd.size());
  std::transform(word.begin(), word.end(), word.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  const auto text = texts.find(word);
  return text == texts.end() ? word : text->second;
}

}  // namespace quillfold
