#include "desktop/formats/json_value.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "desktop/base/utf16.h"

namespace desktop {
namespace {

constexpr int kMaxDepth = 200;

class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  Result<JsonValue> Document() {
    SkipSpace();
    Result<JsonValue> value = Value(0);
    if (!value.ok()) return value;
    SkipSpace();
    if (pos_ != text_.size()) return Fail("unexpected text after the value");
    return value;
  }

 private:
  Status Fail(const std::string& what) const {
    int line = 1, column = 1;
    for (std::size_t i = 0; i < pos_ && i < text_.size(); ++i) {
      if (text_[i] == '\n') {
        ++line;
        column = 1;
      } else {
        ++column;
      }
    }
    return Status::Error("JSON line " + std::to_string(line) + " column " +
                         std::to_string(column) + ": " + what);
  }

  void SkipSpace() {
    while (pos_ < text_.size() &&
           (text_[pos_] == ' ' || text_[pos_] == '\t' || text_[pos_] == '\n' ||
            text_[pos_] == '\r')) {
      ++pos_;
    }
  }

  bool Literal(std::string_view word) {
    if (text_.substr(pos_, word.size()) != word) return false;
    pos_ += word.size();
    return true;
  }

  Result<JsonValue> Value(int depth) {
    if (depth > kMaxDepth) return Fail("nested too deeply");
    if (pos_ >= text_.size()) return Fail("unexpected end of text");
    char c = text_[pos_];
    if (c == '{') return ObjectValue(depth);
    if (c == '[') return ArrayValue(depth);
    if (c == '"') {
      Result<std::string> s = String();
      if (!s.ok()) return s.status();
      return JsonValue(std::move(*s));
    }
    if (Literal("true")) return JsonValue(true);
    if (Literal("false")) return JsonValue(false);
    if (Literal("null")) return JsonValue();
    if (c == '-' || (c >= '0' && c <= '9')) return Number();
    return Fail(std::string("unexpected character '") + c + "'");
  }

  Result<JsonValue> Number() {
    std::size_t start = pos_;
    if (text_[pos_] == '-') ++pos_;
    auto digits = [&] {
      std::size_t from = pos_;
      while (pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '9') {
        ++pos_;
      }
      return pos_ > from;
    };
    if (!digits()) return Fail("bad number");
    if (pos_ < text_.size() && text_[pos_] == '.') {
      ++pos_;
      if (!digits()) return Fail("bad number");
    }
    if (pos_ < text_.size() && (text_[pos_] == 'e' || text_[pos_] == 'E')) {
      ++pos_;
      if (pos_ < text_.size() && (text_[pos_] == '+' || text_[pos_] == '-')) {
        ++pos_;
      }
      if (!digits()) return Fail("bad number");
    }
    std::string number(text_.substr(start, pos_ - start));
    return JsonValue(std::strtod(number.c_str(), nullptr));
  }

  Result<unsigned> Hex4() {
    if (pos_ + 4 > text_.size()) return Fail("short \\u escape");
    unsigned value = 0;
    for (int i = 0; i < 4; ++i) {
      char c = text_[pos_++];
      value <<= 4;
      if (c >= '0' && c <= '9') {
        value |= static_cast<unsigned>(c - '0');
      } else if (c >= 'a' && c <= 'f') {
        value |= static_cast<unsigned>(c - 'a' + 10);
      } else if (c >= 'A' && c <= 'F') {
        value |= static_cast<unsigned>(c - 'A' + 10);
      } else {
        return Fail("bad \\u escape");
      }
    }
    return value;
  }

  Result<std::string> String() {
    ++pos_;  // opening quote
    std::string out;
    for (;;) {
      if (pos_ >= text_.size()) return Fail("unterminated string");
      char c = text_[pos_++];
      if (c == '"') return out;
      if (static_cast<unsigned char>(c) < 0x20) {
        return Fail("control character in string");
      }
      if (c != '\\') {
        out += c;
        continue;
      }
      if (pos_ >= text_.size()) return Fail("unterminated string");
      char e = text_[pos_++];
      switch (e) {
        case '"':
          out += '"';
          break;
        case '\\':
          out += '\\';
          break;
        case '/':
          out += '/';
          break;
        case 'b':
          out += '\b';
          break;
        case 'f':
          out += '\f';
          break;
        case 'n':
          out += '\n';
          break;
        case 'r':
          out += '\r';
          break;
        case 't':
          out += '\t';
          break;
        case 'u': {
          Result<unsigned> unit = Hex4();
          if (!unit.ok()) return unit.status();
          unsigned cp = *unit;
          if (cp >= 0xD800 && cp <= 0xDBFF && Literal("\\u")) {
            Result<unsigned> low = Hex4();
            if (!low.ok()) return low.status();
            if (*low >= 0xDC00 && *low <= 0xDFFF) {
              cp = 0x10000 + ((cp - 0xD800) << 10) + (*low - 0xDC00);
            } else {
              AppendUtf8(out, 0xFFFD);
              cp = *low;
            }
          }
          if (cp >= 0xD800 && cp <= 0xDFFF) cp = 0xFFFD;
          AppendUtf8(out, cp);
          break;
        }
        default:
          --pos_;
          return Fail("bad escape");
      }
    }
  }

  Result<JsonValue> ArrayValue(int depth) {
    ++pos_;
    JsonValue array = JsonValue::MakeArray();
    SkipSpace();
    if (pos_ < text_.size() && text_[pos_] == ']') {
      ++pos_;
      return array;
    }
    for (;;) {
      SkipSpace();
      Result<JsonValue> item = Value(depth + 1);
      if (!item.ok()) return item;
      array.Push(std::move(*item));
      SkipSpace();
      if (pos_ < text_.size() && text_[pos_] == ',') {
        ++pos_;
        continue;
      }
      if (pos_ < text_.size() && text_[pos_] == ']') {
        ++pos_;
        return array;
      }
      return Fail("expected ',' or ']'");
    }
  }

  Result<JsonValue> ObjectValue(int depth) {
    ++pos_;
    JsonValue object = JsonValue::MakeObject();
    SkipSpace();
    if (pos_ < text_.size() && text_[pos_] == '}') {
      ++pos_;
      return object;
    }
    for (;;) {
      SkipSpace();
      if (pos_ >= text_.size() || text_[pos_] != '"') {
        return Fail("expected a member name");
      }
      Result<std::string> key = String();
      if (!key.ok()) return key.status();
      SkipSpace();
      if (pos_ >= text_.size() || text_[pos_] != ':')
        return Fail("expected ':'");
      ++pos_;
      SkipSpace();
      Result<JsonValue> value = Value(depth + 1);
      if (!value.ok()) return value;
      object.as_object().emplace_back(std::move(*key), std::move(*value));
      SkipSpace();
      if (pos_ < text_.size() && text_[pos_] == ',') {
        ++pos_;
        continue;
      }
      if (pos_ < text_.size() && text_[pos_] == '}') {
        ++pos_;
        return object;
      }
      return Fail("expected ',' or '}'");
    }
  }

  std::string_view text_;
  std::size_t pos_ = 0;
};

void Newline(std::string& out, int indent, int depth) {
  if (indent <= 0) return;
  out += '\n';
  out.append(static_cast<std::size_t>(indent) * static_cast<std::size_t>(depth),
             ' ');
}

}  // namespace

void AppendJsonString(std::string& out, std::string_view text) {
  out += '"';
  for (char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char escape[8];
          std::snprintf(escape, sizeof escape, "\\u%04x",
                        static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += escape;
        } else {
          out += c;
        }
    }
  }
  out += '"';
}

Result<JsonValue> JsonValue::Parse(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  return Parser(text).Document();
}

const JsonValue* JsonValue::Find(std::string_view key) const {
  if (!is_object()) return nullptr;
  for (const auto& [name, value] : as_object()) {
    if (name == key) return &value;
  }
  return nullptr;
}

void JsonValue::Set(std::string key, JsonValue value) {
  for (auto& [name, existing] : as_object()) {
    if (name == key) {
      existing = std::move(value);
      return;
    }
  }
  as_object().emplace_back(std::move(key), std::move(value));
}

std::string JsonValue::Serialize(int indent) const {
  std::string out;
  SerializeTo(out, indent, 0);
  return out;
}

void JsonValue::SerializeTo(std::string& out, int indent, int depth) const {
  switch (value_.index()) {
    case 0:
      out += "null";
      break;
    case 1:
      out += as_bool() ? "true" : "false";
      break;
    case 2: {
      double d = as_number();
      char text[40];
      if (std::isfinite(d) && d == std::floor(d) && std::fabs(d) < 1e15) {
        std::snprintf(text, sizeof text, "%.0f", d);
      } else if (std::isfinite(d)) {
        std::snprintf(text, sizeof text, "%.17g", d);
      } else {
        std::snprintf(text, sizeof text, "null");
      }
      out += text;
      break;
    }
    case 3:
      AppendJsonString(out, as_string());
      break;
    case 4: {
      const Array& array = as_array();
      if (array.empty()) {
        out += "[]";
        break;
      }
      out += '[';
      for (std::size_t i = 0; i < array.size(); ++i) {
        if (i) out += ',';
        Newline(out, indent, depth + 1);
        array[i].SerializeTo(out, indent, depth + 1);
      }
      Newline(out, indent, depth);
      out += ']';
      break;
    }
    case 5: {
      const Object& object = as_object();
      if (object.empty()) {
        out += "{}";
        break;
      }
      out += '{';
      for (std::size_t i = 0; i < object.size(); ++i) {
        if (i) out += ',';
        Newline(out, indent, depth + 1);
        AppendJsonString(out, object[i].first);
        out += indent > 0 ? ": " : ":";
        object[i].second.SerializeTo(out, indent, depth + 1);
      }
      Newline(out, indent, depth);
      out += '}';
      break;
    }
  }
}

}  // namespace desktop
