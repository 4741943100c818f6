#include "foundation/json.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "foundation/format.h"
#include "foundation/text.h"

namespace quillfold {

namespace {

constexpr std::int64_t kReadError = 3840;
constexpr std::int64_t kWriteError = 3851;

std::nullopt_t failure(ErrorPtr* error, std::int64_t code, std::string message) {
  if (error != nullptr) {
    *error = NSError::errorWithDomain("NSCocoaErrorDomain", code,
                                      {{NSLocalizedDescriptionKey, std::move(message)}});
  }
  return std::nullopt;
}

// Builds a Value from the parser's events, without a tree in between. The stack
// points into the tree under construction: only the innermost container grows,
// so the pointers above it stay good.
class TreeBuilder : public nlohmann::json_sax<nlohmann::json> {
 public:
  Value root;
  std::string problem;

  bool null() override { return add(nullptr); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(number_integer_t value) override { return add(std::int64_t{value}); }
  bool number_unsigned(number_unsigned_t value) override {
    if (value > static_cast<number_unsigned_t>(INT64_MAX)) return add(static_cast<double>(value));
    return add(static_cast<std::int64_t>(value));
  }
  bool number_float(number_float_t value, const string_t&) override { return add(value); }
  bool string(string_t& value) override { return add(std::move(value)); }
  bool binary(binary_t&) override { return stop("binary value"); }
  bool start_object(std::size_t) override { return open(Dictionary()); }
  bool start_array(std::size_t) override { return open(Array()); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }
  bool key(string_t& value) override {
    key_ = std::move(value);
    return true;
  }
  bool parse_error(std::size_t position, const std::string&,
                   const nlohmann::detail::exception&) override {
    return stop(fmt::format("invalid text around byte {}", position));
  }

 private:
  bool stop(std::string what) {
    problem = std::move(what);
    return false;
  }

  Value* place(Value value) {
    if (stack_.empty()) {
      root = std::move(value);
      return &root;
    }
    if (auto* array = stack_.back()->asArray()) return &array->emplace_back(std::move(value));
    return &(stack_.back()->asDictionary()->insert_or_assign(key_, std::move(value)).first->second);
  }

  bool add(Value value) {
    if (stack_.empty()) return stop("top level is no object or array");
    place(std::move(value));
    return true;
  }

  bool open(Value container) {
    if (stack_.size() == NSJSONSerialization::kMaximumDepth) return stop("nested too deeply");
    stack_.push_back(place(std::move(container)));
    return true;
  }

  bool close() {
    stack_.pop_back();
    return true;
  }

  std::vector<Value*> stack_;
  std::string key_;
};

class Writer {
 public:
  std::string out;
  std::string problem;

  bool write(const Value& value, std::size_t depth) {
    if (depth > NSJSONSerialization::kMaximumDepth) return stop("nested too deeply");
    if (const auto* text = value.asString()) return writeString(*text);
    if (const auto* array = value.asArray()) return writeArray(*array, depth);
    if (const auto* dictionary = value.asDictionary()) return writeObject(*dictionary, depth);
    if (value.isNull()) {
      out += "null";
    } else if (value.isBool() || value.isInteger()) {
      out += value.description();
    } else if (const auto* number = value.asDouble(); number && std::isfinite(*number)) {
      out += formatNumber(*number);
    } else {
      return stop("value that JSON has no form for");
    }
    return true;
  }

 private:
  bool stop(std::string what) {
    problem = std::move(what);
    return false;
  }

  bool writeArray(const Array& array, std::size_t depth) {
    out += '[';
    bool first = true;
    for (const Value& element : array) {
      if (!std::exchange(first, false)) out += ',';
      if (!write(element, depth + 1)) return false;
    }
    out += ']';
    return true;
  }

  bool writeObject(const Dictionary& dictionary, std::size_t depth) {
    out += '{';
    bool first = true;
    for (const auto& [key, value] : dictionary) {
      if (!std::exchange(first, false)) out += ',';
      writeString(key);
      out += ':';
      if (!write(value, depth + 1)) return false;
    }
    out += '}';
    return true;
  }

  bool writeString(std::string_view raw) {
    const std::string repaired = text::isValidUTF8(raw) ? std::string() : text::sanitized(raw);
    out += '"';
    for (const char c : repaired.empty() ? raw : std::string_view(repaired))
      writeCharacter(c);
    out += '"';
    return true;
  }

  void writeCharacter(char c) {
    switch (c) {
      case '"':
        out += "\\\"";
        return;
      case '\\':
        out += "\\\\";
        return;
      case '\b':
        out += "\\b";
        return;
      case '\f':
        out += "\\f";
        return;
      case '\n':
        out += "\\n";
        return;
      case '\r':
        out += "\\r";
        return;
      case '\t':
        out += "\\t";
        return;
      default:
        break;
    }
    if (static_cast<unsigned char>(c) < 0x20) {
      out += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
    } else {
      out += c;
    }
  }
};

}  // namespace

std::optional<Value> NSJSONSerialization::JSONObjectWithData(std::string_view bytes,
                                                             ErrorPtr* error) {
  if (bytes.empty()) return failure(error, kReadError, "No data to read as JSON.");
  TreeBuilder builder;
  if (!nlohmann::json::sax_parse(bytes.begin(), bytes.end(), &builder)) {
    return failure(error, kReadError,
                   fmt::format("The data is no valid JSON: {}.", builder.problem));
  }
  return std::move(builder.root);
}

std::optional<std::string> NSJSONSerialization::dataWithJSONObject(const Value& value,
                                                                   ErrorPtr* error) {
  if (!value.isArray() && !value.isDictionary()) {
    return failure(error, kWriteError, "The top level of JSON is an object or an array.");
  }
  Writer writer;
  if (!writer.write(value, 1)) {
    return failure(error, kWriteError,
                   fmt::format("The value can't be written as JSON: {}.", writer.problem));
  }
  return std::move(writer.out);
}

}  // namespace quillfold
