#include "BeaconSDK/Platform/Storage/ValueText.h"

#include <charconv>
#include <cstdio>
#include <vector>

namespace ks {

namespace {

constexpr int kDeepest = 64;

std::string escaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && c != '%') {
      out += c;
      continue;
    }
    char code[4];
    std::snprintf(code, sizeof code, "%%%02X", byte);
    out += code;
  }
  return out;
}

std::optional<unsigned> hexByte(std::string_view text) {
  unsigned byte = 0;
  if (text.size() < 2) return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + 2, byte, 16);
  if (error != std::errc{} || end != text.data() + 2) return std::nullopt;
  return byte;
}

std::optional<std::string> unescaped(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out += text[i];
      continue;
    }
    const auto byte = hexByte(text.substr(i + 1));
    if (!byte) return std::nullopt;
    out += static_cast<char>(*byte);
    i += 2;
  }
  return out;
}

/// Hexadecimal floating point: reads back to the same bits.
std::string realText(double number) {
  char buffer[64];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::hex);
  return {buffer, end.ptr};
}

class Writer {
 public:
  bool write(const Value& value, int depth = 0) {
    if (depth > kDeepest) return false;
    if (value.isAbsent()) return line('-', "");
    if (value.isNull()) return line('0', "");
    if (const auto* flag = value.boolean()) return line('b', *flag ? "1" : "0");
    if (const auto* number = value.integer()) return line('i', std::to_string(*number));
    if (const auto* number = value.largeInteger()) return line('l', std::to_string(*number));
    if (const auto* number = value.real()) return line('r', realText(*number));
    if (const auto* text = value.string()) return line('s', *text);
    if (const auto* date = value.date()) return line('d', realText(secondsSince1970(*date)));
    if (const auto* uuid = value.uuid()) return line('u', uuid->UUIDString());
    if (const auto* data = value.data()) return line('x', std::string(data->begin(), data->end()));
    if (const auto* array = value.array()) return list('a', array->items, depth);
    if (const auto* set = value.set()) return list('t', set->items, depth);
    if (const auto* dictionary = value.dictionary()) {
      line('m', std::to_string(dictionary->size()));
      for (const auto& [key, member] : *dictionary) {
        line('s', key);
        if (!write(member, depth + 1)) return false;
      }
      return true;
    }
    return false;
  }
  std::string out;

 private:
  bool line(char kind, const std::string& content) {
    out += kind;
    out += escaped(content);
    out += '\n';
    return true;
  }
  bool list(char kind, const std::vector<Value>& items, int depth) {
    line(kind, std::to_string(items.size()));
    for (const Value& item : items) {
      if (!write(item, depth + 1)) return false;
    }
    return true;
  }
};

template <class T, class... Format>
std::optional<T> number(const std::string& text, Format... format) {
  T value{};
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), value, format...);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

template <class T>
std::optional<Value> asValue(const std::optional<T>& content) {
  return content ? std::optional<Value>(Value(*content)) : std::nullopt;
}

class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}
  bool atEnd() const { return rest_.empty(); }

  std::optional<Value> read(int depth = 0) {
    const std::size_t end = rest_.find('\n');
    if (depth > kDeepest || end == std::string_view::npos || end == 0) return std::nullopt;
    const char kind = rest_[0];
    const auto content = unescaped(rest_.substr(1, end - 1));
    rest_.remove_prefix(end + 1);
    if (!content) return std::nullopt;
    if (kind == 'a' || kind == 't' || kind == 'm') return readContainer(kind, *content, depth);
    return readScalar(kind, *content);
  }

 private:
  static std::optional<Value> readScalar(char kind, const std::string& content) {
    switch (kind) {
      case '-':
        return Value();
      case '0':
        return Value(Null{});
      case 'b':
        return Value(content == "1");
      case 'i':
        return asValue(number<std::int64_t>(content));
      case 'l':
        return asValue(number<std::uint64_t>(content));
      case 'r':
        return asValue(number<double>(content, std::chars_format::hex));
      case 's':
        return Value(content);
      case 'u':
        return asValue(UUID::fromString(content));
      case 'x':
        return Value(Data(content.begin(), content.end()));
      case 'd': {
        const auto seconds = number<double>(content, std::chars_format::hex);
        return seconds ? std::optional<Value>(dateFromSecondsSince1970(*seconds)) : std::nullopt;
      }
      default:
        return std::nullopt;
    }
  }

  /// The count is not trusted: each item takes a line, so a false one runs out of text.
  std::optional<Value> readContainer(char kind, const std::string& content, int depth) {
    const auto count = number<std::uint64_t>(content);
    if (!count) return std::nullopt;
    std::vector<Value> items;
    Dictionary dictionary;
    for (std::uint64_t i = 0; i < *count; ++i) {
      std::optional<std::string> key;
      if (kind == 'm') {
        const auto name = read(depth + 1);
        if (!name || name->string() == nullptr) return std::nullopt;
        key = *name->string();
      }
      auto item = read(depth + 1);
      if (!item) return std::nullopt;
      if (key) {
        dictionary.set(std::move(*key), std::move(*item));
      } else {
        items.push_back(std::move(*item));
      }
    }
    if (kind == 'm') return Value(std::move(dictionary));
    if (kind == 't') return Value(Set{std::move(items)});
    return Value(Array(std::move(items)));
  }

  std::string_view rest_;
};

}  // namespace

std::optional<std::string> valueToText(const Value& value) {
  Writer writer;
  if (!writer.write(value)) return std::nullopt;
  return std::move(writer.out);
}

std::optional<Value> valueFromText(std::string_view text) {
  Reader reader(text);
  auto value = reader.read();
  return value && reader.atEnd() ? value : std::nullopt;
}

}  // namespace ks
