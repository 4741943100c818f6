#include "adapters/vcard/attributes.h"

#include <libebook-contacts/libebook-contacts.h>

#include <memory>
#include <mutex>

#include "adapters/vcard/ascii.h"

namespace quillfold::vcard {

namespace {

// The parser's lists grow in quadratic time: what comes behind so many fields is taken
// as part of the last one.
constexpr std::size_t kMaximumFields = 64;

// Keeps the parser's warnings off stderr. Handlers belong to the whole process, so only
// one parse at a time runs.
class QuietParsing {
 public:
  QuietParsing() : lock_(mutex()), handler_(g_log_set_handler(kDomain, kLevels, drop, nullptr)) {}
  ~QuietParsing() { g_log_remove_handler(kDomain, handler_); }
  QuietParsing(const QuietParsing&) = delete;
  QuietParsing& operator=(const QuietParsing&) = delete;

 private:
  static constexpr const char* kDomain = "libebook-contacts";
  static constexpr GLogLevelFlags kLevels =
      static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE | G_LOG_LEVEL_DEBUG);

  static void drop(const gchar*, GLogLevelFlags, const gchar*, gpointer) {}
  static std::mutex& mutex() {
    static std::mutex& instance = *new std::mutex;
    return instance;
  }

  std::lock_guard<std::mutex> lock_;
  guint handler_;
};

struct Unreference {
  void operator()(EVCard* card) const { g_object_unref(card); }
};

bool isEscape(char c) {
  return c == 'n' || c == 'N' || c == ',' || c == ';' || c == '\\';
}

void appendValue(std::string& card, std::string_view value, bool compound) {
  std::size_t fields = 1;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '\\' && i + 1 < value.size() && isEscape(value[i + 1])) {
      card += value.substr(i++, 2);
    } else if (value[i] == '\\' && i + 1 < value.size() && value[i + 1] == ':') {
      // Old writers escape the colon too, which the parser does not know.
      card += value[++i];
    } else if (value[i] == '\\') {
      card += "\\\\";
    } else if (value[i] == ';' && (!compound || fields++ >= kMaximumFields)) {
      card += "\\;";
    } else {
      card += value[i];
    }
  }
}

const char* textOf(const void* data) {
  return data ? static_cast<const char*>(data) : "";
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

void addParameter(Attribute& attribute, EVCardAttributeParam* parameter) {
  const std::string name = uppercased(textOf(e_vcard_attribute_param_get_name(parameter)));
  for (GList* v = e_vcard_attribute_param_get_values(parameter); v; v = v->next) {
    std::string value = parameterText(textOf(v->data));
    if (name == "TYPE") {
      attribute.types.push_back(std::move(value));
    } else {
      attribute.parameters.push_back({name, std::move(value)});
    }
  }
}

Attribute attributeOf(EVCardAttribute* source) {
  Attribute attribute;
  attribute.group = lowercased(textOf(e_vcard_attribute_get_group(source)));
  attribute.name = textOf(e_vcard_attribute_get_name(source));
  for (GList* p = e_vcard_attribute_get_params(source); p; p = p->next) {
    addParameter(attribute, static_cast<EVCardAttributeParam*>(p->data));
  }
  for (GList* v = e_vcard_attribute_get_values(source); v; v = v->next) {
    attribute.fields.emplace_back(textOf(v->data));
  }
  if (attribute.fields.empty()) attribute.fields.emplace_back();
  return attribute;
}

}  // namespace

std::string Attribute::field(std::size_t index) const {
  return index < fields.size() ? fields[index] : "";
}

std::string Attribute::parameter(std::string_view parameterName) const {
  for (const Parameter& parameter : parameters) {
    if (parameter.name == parameterName) return parameter.value;
  }
  return "";
}

bool Attribute::hasType(std::string_view type) const {
  return std::any_of(types.begin(), types.end(),
                     [type](const std::string& each) { return equalIgnoringCase(each, type); });
}

std::string plainCard(const std::vector<ContentLine>& lines,
                      const std::function<bool(std::string_view)>& compound) {
  std::string card = "BEGIN:VCARD\r\n";
  for (const ContentLine& line : lines) {
    if (!line.group.empty()) card += line.group + '.';
    card += line.name;
    for (const Parameter& parameter : line.parameters) {
      card += ';' + parameter.name + "=\"" + parameter.value + '"';
    }
    card += ':';
    appendValue(card, line.value, compound(line.name));
    card += "\r\n";
  }
  return card + "END:VCARD\r\n";
}

std::vector<Attribute> attributesOf(const std::string& plainCard) {
  const QuietParsing quiet;
  const std::unique_ptr<EVCard, Unreference> card(e_vcard_new());
  e_vcard_construct_full(card.get(), plainCard.c_str(), static_cast<gssize>(plainCard.size()),
                         nullptr);
  std::vector<Attribute> attributes;
  for (GList* a = e_vcard_get_attributes(card.get()); a; a = a->next) {
    attributes.push_back(attributeOf(static_cast<EVCardAttribute*>(a->data)));
  }
  return attributes;
}

std::string digest(std::string_view text) {
  char* hex = g_compute_checksum_for_data(
      G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(text.data()), text.size());
  std::string result(hex);
  g_free(hex);
  return result;
}

}  // namespace quillfold::vcard
