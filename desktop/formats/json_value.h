// A small JSON document model with a strict reader and a writer, enough for
// the desktop's import and export files. Objects keep their keys in the
// order they were read or set. Strings are UTF-8.
#ifndef VORN_DESKTOP_FORMATS_JSON_VALUE_H_
#define VORN_DESKTOP_FORMATS_JSON_VALUE_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "desktop/base/status.h"

namespace desktop {

class JsonValue {
 public:
  using Array = std::vector<JsonValue>;
  using Object = std::vector<std::pair<std::string, JsonValue>>;

  JsonValue() = default;                                         // null
  JsonValue(bool b) : value_(b) {}                               // NOLINT
  JsonValue(double d) : value_(d) {}                             // NOLINT
  JsonValue(int i) : value_(static_cast<double>(i)) {}           // NOLINT
  JsonValue(unsigned i) : value_(static_cast<double>(i)) {}      // NOLINT
  JsonValue(std::int64_t i) : value_(static_cast<double>(i)) {}  // NOLINT
  JsonValue(const char* s) : value_(std::string(s)) {}           // NOLINT
  JsonValue(std::string s) : value_(std::move(s)) {}             // NOLINT
  JsonValue(Array a) : value_(std::move(a)) {}                   // NOLINT
  JsonValue(Object o) : value_(std::move(o)) {}                  // NOLINT

  static JsonValue MakeObject() { return JsonValue(Object{}); }
  static JsonValue MakeArray() { return JsonValue(Array{}); }

  // Parses one JSON text (RFC 8259) with nothing but white space around it.
  // Errors name the line and column.
  static Result<JsonValue> Parse(std::string_view text);

  // Writes the value; with `indent` > 0 one member per line.
  std::string Serialize(int indent = 2) const;

  bool is_null() const { return value_.index() == 0; }
  bool is_bool() const { return value_.index() == 1; }
  bool is_number() const { return value_.index() == 2; }
  bool is_string() const { return value_.index() == 3; }
  bool is_array() const { return value_.index() == 4; }
  bool is_object() const { return value_.index() == 5; }

  // Accessors; only valid for a value of that kind.
  bool as_bool() const { return std::get<bool>(value_); }
  double as_number() const { return std::get<double>(value_); }
  const std::string& as_string() const { return std::get<std::string>(value_); }
  const Array& as_array() const { return std::get<Array>(value_); }
  Array& as_array() { return std::get<Array>(value_); }
  const Object& as_object() const { return std::get<Object>(value_); }
  Object& as_object() { return std::get<Object>(value_); }

  // The member `key` of an object, or nullptr when absent or not an object.
  const JsonValue* Find(std::string_view key) const;
  // Sets (replacing) or appends the member `key`; the value must be an
  // object.
  void Set(std::string key, JsonValue value);
  // Appends to an array.
  void Push(JsonValue value) { as_array().push_back(std::move(value)); }

  bool operator==(const JsonValue&) const = default;

 private:
  void SerializeTo(std::string& out, int indent, int depth) const;

  std::variant<std::monostate, bool, double, std::string, Array, Object> value_;
};

// Appends `text` to `out` as a quoted JSON string.
void AppendJsonString(std::string& out, std::string_view text);

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_JSON_VALUE_H_
