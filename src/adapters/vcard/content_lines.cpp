#include "adapters/vcard/content_lines.h"

#include <algorithm>
#include <optional>

#include "adapters/vcard/ascii.h"
#include "adapters/vcard/decoding.h"
#include "adapters/vcard/unfolding.h"

namespace quillfold::vcard {

namespace {

bool isName(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return isAlphanumeric(c) || c == '-' || c == '_';
  });
}

std::string unquoted(std::string_view text) {
  std::string result(text);
  std::erase(result, '"');
  return result;
}

void addTypes(ContentLine& line, std::string_view list) {
  const std::string types = unquoted(list);
  for (const std::string_view type : splitOutsideQuotes(types, ',', kMaximumParameters)) {
    const std::string_view word = withoutBlanks(type);
    if (!word.empty()) line.parameters.push_back({"TYPE", std::string(word)});
  }
}

// Encodings of old mail systems, which version 2.1 names without "ENCODING=".
bool namesEncoding(std::string_view word) {
  return equalIgnoringCase(word, "8BIT") || equalIgnoringCase(word, "7BIT") ||
         encodingOfParameter(word) != Encoding::None;
}

// One of the parts behind the name. Version 2.1 leaves out "TYPE=".
void addParameter(ContentLine& line, std::string& charset, std::string_view part) {
  const std::string parameter = toUTF8(withoutBlanks(part), "");
  const std::size_t equals = parameter.find('=');
  if (equals == std::string::npos) {
    if (!namesEncoding(parameter)) addTypes(line, parameter);
    return;
  }
  const std::string name = uppercased(withoutBlanks(parameter.substr(0, equals)));
  const std::string value = parameter.substr(equals + 1);
  if (name == "TYPE") {
    addTypes(line, value);
  } else if (name == "CHARSET") {
    charset = withoutBlanks(unquoted(value));
  } else if (isName(name) && name != "ENCODING") {
    line.parameters.push_back({name, unquoted(value)});
  }
}

// Line ends as the escape that they have in a value.
std::string onOneLine(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' || text[i] == '\n') {
      if (text.substr(i, 2) == "\r\n") ++i;
      result += "\\n";
    } else {
      result += text[i];
    }
  }
  return result;
}

std::string decodedValue(std::string_view value, Encoding encoding, std::string_view charset) {
  if (encoding == Encoding::QuotedPrintable) {
    return onOneLine(toUTF8(decodedQuotedPrintable(value), charset));
  }
  return toUTF8(value, charset);
}

// Absent if the property is not wanted.
std::optional<ContentLine> contentLine(const LogicalLine& logical,
                                       const std::function<bool(std::string_view)>& wanted) {
  const std::string_view text = logical.text;
  const std::vector<std::string_view> parts =
      splitOutsideQuotes(text.substr(0, logical.colon), ';', kMaximumParameters);
  const std::string_view fullName = withoutBlanks(parts.front());
  const std::size_t dot = fullName.rfind('.');
  ContentLine line;
  line.name = uppercased(dot == std::string_view::npos ? fullName : fullName.substr(dot + 1));
  if (!wanted(line.name)) return std::nullopt;
  if (dot != std::string_view::npos && isName(fullName.substr(0, dot))) {
    line.group = fullName.substr(0, dot);
  }
  std::string charset;
  for (std::size_t i = 1; i < parts.size(); ++i)
    addParameter(line, charset, parts[i]);
  if (logical.encoding == Encoding::Base64) line.parameters.push_back({"ENCODING", "B"});
  line.value = decodedValue(text.substr(logical.colon + 1), logical.encoding, charset);
  return line;
}

}  // namespace

std::vector<ContentLine> contentLines(const RawCard& card,
                                      const std::function<bool(std::string_view)>& wanted,
                                      const std::function<void(VCardProblem)>& onProblem) {
  std::vector<ContentLine> lines;
  for (const LogicalLine& logical : unfolded(card)) {
    if (logical.colon == std::string::npos) {
      onProblem({card.number, logical.number, "the line is no property and is left out"});
    } else if (std::optional<ContentLine> line = contentLine(logical, wanted)) {
      lines.push_back(*std::move(line));
    }
  }
  return lines;
}

}  // namespace quillfold::vcard
