#include <map>

#include "foundation/text.h"
#include "model/contact.h"

namespace quillfold {

namespace {

using LabelTable = std::map<std::string, const char*, std::less<>>;

// The two tables differ on purpose: "custom", "homefax" and "workfax" have a
// meaning in brackets only, "personal", "office" and their like outside only.
const LabelTable& bracketedLabels() {
  static const LabelTable& table = *new LabelTable{
      {"mobile", "mobile"}, {"iphone", "mobile"},   {"cell", "mobile"},  {"home", "home"},
      {"homefax", "home"},  {"work", "work"},       {"workfax", "work"}, {"company", "work"},
      {"main", "main"},     {"primary", "main"},    {"pager", "pager"},  {"other", "other"},
      {"custom", "other"},  {"homepage", "website"}};
  return table;
}

const LabelTable& plainLabels() {
  static const LabelTable& table = *new LabelTable{
      {"mobile", "mobile"}, {"iphone", "mobile"}, {"cell", "mobile"},     {"cellphone", "mobile"},
      {"home", "home"},     {"personal", "home"}, {"work", "work"},       {"business", "work"},
      {"company", "work"},  {"office", "work"},   {"main", "main"},       {"primary", "main"},
      {"pager", "pager"},   {"fax", "fax"},       {"website", "website"}, {"homepage", "website"},
      {"blog", "website"},  {"url", "website"}};
  return table;
}

std::string lookUp(const LabelTable& table, std::string_view label) {
  std::string lowercase = text::lowercaseString(label);
  const auto it = table.find(lowercase);
  return it == table.end() ? lowercase : it->second;
}

}  // namespace

std::string QFContact::normalizeLabel(const OptionalString& label) const {
  if (!label || label->empty()) return "other";
  const std::size_t open = label->find('<');
  const std::size_t close = label->find('>');
  if (open != std::string::npos && close != std::string::npos && close > open + 1) {
    return lookUp(bracketedLabels(), std::string_view(*label).substr(open + 1, close - open - 1));
  }
  return lookUp(plainLabels(), *label);
}

}  // namespace quillfold
