#include "adapters/vcard/attributes.h"

#include <algorithm>

#include "adapters/vcard/ascii.h"
#include "adapters/vcard/decoding.h"
#include "adapters/vcard/traits.h"

namespace quillfold::vcard {

namespace {

// What comes behind so many is taken as part of the last one.
constexpr std::size_t kMaximumFields = 64;
constexpr std::size_t kMaximumTypes = 64;

bool isName(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return isAlphanumeric(c) || c == '-' || c == '_';
  });
}

// Encodings of old mail systems, which version 2.1 names without "ENCODING=".
bool namesEncoding(std::string_view word) {
  return equalIgnoringCase(word, "8BIT") || equalIgnoringCase(word, "7BIT") ||
         encodingOfParameter(word) != Encoding::None;
}

constexpr auto isEscapeOrLineEnd = [](char c) { return c == '\\' || c == '\r' || c == '\n'; };

std::size_t unescapedSemicolon(std::string_view value) {
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == ';') return i;
    if (value[i] == '\\') ++i;
  }
  return std::string_view::npos;
}

// Escapes that parameters have, because quotes and line ends can't stand in them.
std::string parameterText(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char next = text[i] == '^' && i + 1 < text.size() ? text[i + 1] : '\0';
    const char decoded = next == 'n' ? '\n' : next == '\'' ? '"' : next == '^' ? '^' : '\0';
    result += decoded ? decoded : text[i];
    if (decoded) ++i;
  }
  return result;
}

}  // namespace

// Reads one line into an empty attribute, and writes it in plain form.
class Attributes::Reader {
 public:
  Reader(Attributes& all, const LogicalLine& line, Traits traits)
      : line_(line),
        traits_(traits),
        attribute_(all.attributes_[all.count_]),
        plain_(all.plain_),
        texts_(all.texts_) {
    attribute_.types.clear();
    attribute_.parameters.clear();
    attribute_.fields.clear();
  }

  // Returns false for a property that is of no use.
  bool read(bool version21, FindProperty find) {
    if (!setName(line_.header.front(), find)) return false;
    for (std::size_t i = 1; i < line_.header.size(); ++i)
      addParameter(line_.header[i]);
    if (line_.encoding == Encoding::Base64) {
      attribute_.parameters.push_back({"ENCODING", writtenParameter("ENCODING", "B")});
    }
    write(":");
    const std::string_view value = line_.text.substr(line_.colon + 1);
    if (line_.encoding == Encoding::QuotedPrintable) {
      setFields(kept(quotedPrintableText(value, charset_, version21)), false);
    } else {
      const std::string_view text = inUTF8(value, charset_);
      setFields(text, text.data() == value.data() && !traits_.backslashes);
    }
    write("\r\n");
    return true;
  }

 private:
  // From NAME or GROUP.NAME.
  bool setName(std::string_view fullName, FindProperty find) {
    fullName = withoutBlanks(fullName);
    const std::size_t dot = fullName.rfind('.');
    attribute_.property = find(fullName.substr(dot + 1));
    if (!attribute_.property) return false;
    attribute_.group = {};
    if (dot != std::string_view::npos && isName(fullName.substr(0, dot))) {
      attribute_.group = fullName.substr(0, dot);
      write(fullName.substr(0, dot + 1));
    }
    write(attribute_.property->name);
    return true;
  }

  // One of the parts behind the name. Version 2.1 leaves out "TYPE=".
  void addParameter(std::string_view part) {
    const std::string_view parameter = inUTF8(withoutBlanks(part), "");
    const std::size_t equals = parameter.find('=');
    if (equals == std::string_view::npos) {
      if (!namesEncoding(parameter)) addTypes(parameter);
      return;
    }
    const std::string_view name = withoutBlanks(parameter.substr(0, equals));
    const std::string_view value = parameter.substr(equals + 1);
    if (equalIgnoringCase(name, "TYPE")) {
      addTypes(value);
    } else if (equalIgnoringCase(name, "CHARSET")) {
      charset_ = withoutBlanks(unquoted(value));
    } else if (isName(name) && !equalIgnoringCase(name, "ENCODING")) {
      attribute_.parameters.push_back({name, writtenParameter(name, unquoted(value))});
    }
  }

  void write(std::string_view text) {
    if (plain_) *plain_ += text;
  }

  std::string_view kept(std::string text) { return texts_.emplace_back(std::move(text)); }

  std::string_view inUTF8(std::string_view bytes, std::string_view charset) {
    if (!traits_.foreign && charset.empty()) return bytes;
    std::optional<std::string> text = convertedToUTF8(bytes, charset);
    return text ? kept(*std::move(text)) : bytes;
  }

  std::string_view unquoted(std::string_view text) {
    if (!traits_.quotes) return text;
    std::string result(text);
    std::erase(result, '"');
    return kept(std::move(result));
  }

  void addTypes(std::string_view list) {
    list = unquoted(list);
    for (std::size_t count = 1; !list.empty(); ++count) {
      const std::size_t comma = count < kMaximumTypes ? list.find(',') : std::string_view::npos;
      const std::string_view type = withoutBlanks(list.substr(0, comma));
      if (!type.empty()) attribute_.types.push_back(writtenParameter("TYPE", type));
      list.remove_prefix(std::min(comma, list.size() - 1) + 1);
    }
  }

  // Writes a parameter in plain form, and returns its value without escapes.
  std::string_view writtenParameter(std::string_view name, std::string_view value) {
    if (plain_) plain_->append(";" + uppercased(name) + "=\"").append(value).append("\"");
    return traits_.carets ? kept(parameterText(value)) : value;
  }

  // `plain` says that the value holds neither escapes nor line ends.
  void setFields(std::string_view value, bool plain) {
    plain = plain || std::none_of(value.begin(), value.end(), isEscapeOrLineEnd);
    while (attribute_.property->compound && attribute_.fields.size() + 1 < kMaximumFields) {
      const std::size_t end = plain ? value.find(';') : unescapedSemicolon(value);
      if (end == std::string_view::npos) break;
      addField(value.substr(0, end), plain);
      write(";");
      value.remove_prefix(end + 1);
    }
    // In what is left ";" is a letter like others, but for how it is written.
    addField(value, plain && (!plain_ || value.find(';') == std::string_view::npos));
  }

  // `plain` says that nothing in the field is escaped or has to be.
  void addField(std::string_view field, bool plain) {
    if (plain) {
      write(field);
      attribute_.fields.push_back(field);
      return;
    }
    const auto isSpecial = [](char c) { return c == ';' || isEscapeOrLineEnd(c); };
    std::string text;
    while (!field.empty()) {
      const auto special = std::find_if(field.begin(), field.end(), isSpecial);
      const auto ordinary = static_cast<std::size_t>(special - field.begin());
      text += field.substr(0, ordinary);
      write(field.substr(0, ordinary));
      field.remove_prefix(ordinary);
      if (!field.empty()) field.remove_prefix(addSpecial(field, text));
    }
    attribute_.fields.push_back(kept(std::move(text)));
  }

  // Adds the special character that the field starts with, and returns its length.
  std::size_t addSpecial(std::string_view field, std::string& text) {
    const auto add = [&](char c, std::string_view written) {
      text += c;
      write(written);
    };
    const char next = field.size() > 1 ? field[1] : '\0';
    if (field.front() == ';') {
      add(';', "\\;");
    } else if (field.front() != '\\') {
      add('\n', "\\n");
      return field.starts_with("\r\n") ? 2 : 1;
    } else if (next == 'n' || next == 'N') {
      add('\n', field.substr(0, 2));
      return 2;
    } else if (next == ',' || next == ';' || next == '\\') {
      add(next, field.substr(0, 2));
      return 2;
    } else if (next == ':') {
      // Only old writers escape the colon.
      add(':', ":");
      return 2;
    } else {
      add('\\', "\\\\");
    }
    return 1;
  }

  const LogicalLine& line_;
  const Traits traits_;
  Attribute& attribute_;
  std::string* const plain_;
  std::deque<std::string>& texts_;
  std::string_view charset_;
};

std::string_view Attribute::field(std::size_t index) const {
  return index < fields.size() ? fields[index] : "";
}

std::string_view Attribute::parameter(std::string_view name) const {
  for (const Parameter& each : parameters) {
    if (equalIgnoringCase(each.name, name) && !each.value.empty()) return each.value;
  }
  return "";
}

bool Attribute::hasType(std::string_view type) const {
  return std::any_of(types.begin(), types.end(),
                     [type](std::string_view each) { return equalIgnoringCase(each, type); });
}

void Attributes::read(const RawCard& card, const std::function<void(std::size_t)>& onFault) {
  count_ = 0;
  texts_.clear();
  const Traits traits = Traits().of(card.text);
  const auto add = [&](const LogicalLine& line) {
    if (line.colon == std::string_view::npos) return onFault(line.number);
    if (count_ > kMaximumProperties) return;
    if (count_ == attributes_.size()) attributes_.emplace_back();
    Reader reader(*this, line, traits.of(line.text));
    if (reader.read(card.version21, find_)) ++count_;
  };
  unfolder_.unfold(card, traits.quotes, std::ref(add));
}

std::string Attributes::plainCard(const RawCard& card) {
  std::string plain = "BEGIN:VCARD\r\n";
  plain_ = &plain;
  read(card, [](std::size_t) {});
  plain_ = nullptr;
  return plain + "END:VCARD\r\n";
}

}  // namespace quillfold::vcard
