#include "BeaconSDK/Platform/Api/Value.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <map>

#include "BeaconSDK/Platform/Api/Object.h"

namespace ks {

namespace {

const Value kAbsent;

/// Below this many entries a dictionary is searched entry by entry, which is faster than hashing
/// and spares small dictionaries the memory of an index.
constexpr std::size_t kIndexThreshold = 32;

std::string dataDescription(const Data& data) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "<";
  for (const auto byte : data) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text + ">";
}

bool equalNumbers(const Value& a, const Value& b) {
  if (a.real() || b.real()) return a.doubleValue() == b.doubleValue();
  if (a.largeInteger() || b.largeInteger()) {
    return a.largeInteger() && b.largeInteger() && *a.largeInteger() == *b.largeInteger();
  }
  return a.integerValue() == b.integerValue();
}

/// Compares what two values hold.
class Comparison {
 public:
  bool areEqual(const Value& a, const Value& b) {
    if (a.isNumber() && b.isNumber()) return equalNumbers(a, b);
    if (a.identity() != nullptr && a.identity() == b.identity()) return true;
    if (a.array() && b.array()) return areShared(a, b, a.array()->items, b.array()->items);
    if (a.set() && b.set()) return areShared(a, b, *a.set(), *b.set());
    if (a.dictionary() && b.dictionary()) return areShared(a, b, *a.dictionary(), *b.dictionary());
    return arePlainEqual(a, b);
  }
  bool areEqual(const std::vector<Value>& a, const std::vector<Value>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), same());
  }
  bool areEqual(const Set& a, const Set& b) {
    return a.items.size() == b.items.size() &&
           std::is_permutation(a.items.begin(), a.items.end(), b.items.begin(), same());
  }
  bool areEqual(const Dictionary& a, const Dictionary& b) {
    if (a.size() != b.size()) return false;
    return std::all_of(a.begin(), a.end(), [&](const Dictionary::Entry& entry) {
      const Value* other = b.find(entry.first);
      return other && areEqual(entry.second, *other);
    });
  }

 private:
  template <class Content>
  bool areShared(const Value& a, const Value& b, const Content& first, const Content& second) {
    const std::pair pair(a.identity(), b.identity());
    const auto known = known_.find(pair);
    if (known != known_.end()) return known->second;
    return known_[pair] = areEqual(first, second);
  }
  std::function<bool(const Value&, const Value&)> same() {
    return [this](const Value& a, const Value& b) { return areEqual(a, b); };
  }
  static bool arePlainEqual(const Value& a, const Value& b) {
    if (a.string() && b.string()) return *a.string() == *b.string();
    if (a.data() && b.data()) return *a.data() == *b.data();
    if (a.date() && b.date()) return *a.date() == *b.date();
    if (a.uuid() && b.uuid()) return *a.uuid() == *b.uuid();
    const auto record = a.object();
    if (record && b.object()) return record->isEqual(b.object().get());
    return (a.isNull() && b.isNull()) || (a.isAbsent() && b.isAbsent());
  }

  std::map<std::pair<const void*, const void*>, bool> known_;
};

constexpr std::size_t kLongestDescription = std::size_t{4} * 1024 * 1024;

std::string plainDescription(const Value& value) {
  if (value.isNull()) return "<null>";
  if (const auto* flag = value.boolean()) return *flag ? "1" : "0";
  if (const auto* number = value.integer()) return std::to_string(*number);
  if (const auto* number = value.largeInteger()) return std::to_string(*number);
  if (const auto* number = value.real()) return numberDescription(*number);
  if (const auto* text = value.string()) return *text;
  if (const auto* moment = value.date()) return dateDescription(*moment);
  if (const auto* identifier = value.uuid()) return identifier->UUIDString();
  if (const auto* bytes = value.data()) return dataDescription(*bytes);
  if (const auto record = value.object()) return record->description();
  return "(null)";
}

/// Goes on only while `text` is short enough.
void describe(const Value& value, std::string& text);

void describeItems(const std::vector<Value>& items, std::string& text) {
  for (const auto& item : items) {
    if (text.size() > kLongestDescription) return;
    if (&item != &items.front()) text += ", ";
    describe(item, text);
  }
}

void describeEntries(const Dictionary& entries, std::string& text) {
  for (const auto& [key, value] : entries) {
    if (text.size() > kLongestDescription) return;
    text += key + " = ";
    describe(value, text);
    text += "; ";
  }
}

void describe(const Value& value, std::string& text) {
  if (const auto* list = value.array()) {
    text += '(';
    describeItems(list->items, text);
    text += ')';
  } else if (const auto* members = value.set()) {
    text += "{(";
    describeItems(members->items, text);
    text += ")}";
  } else if (const auto* entries = value.dictionary()) {
    text += '{';
    describeEntries(*entries, text);
    text += '}';
  } else {
    text += plainDescription(value);
  }
}

}  // namespace

Array::Array(std::initializer_list<Value> values) : items(values) {}
Array::Array(std::vector<Value> values, bool isMutable)
    : items(std::move(values)), isMutable(isMutable) {}

Dictionary::Dictionary(std::initializer_list<Entry> entries) {
  for (const auto& entry : entries) set(entry.first, entry.second);
}

std::optional<std::size_t> Dictionary::indexOf(std::string_view key) const {
  if (index_.empty()) {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& entry) { return entry.first == key; });
    if (found == entries_.end()) return std::nullopt;
    return static_cast<std::size_t>(found - entries_.begin());
  }
  const auto found = index_.find(key);
  if (found == index_.end()) return std::nullopt;
  return found->second;
}

const Value* Dictionary::find(std::string_view key) const {
  const auto index = indexOf(key);
  return index ? &entries_[*index].second : nullptr;
}

const Value& Dictionary::operator[](std::string_view key) const {
  const Value* value = find(key);
  return value ? *value : kAbsent;
}

void Dictionary::set(std::string key, Value value) {
  if (const auto index = indexOf(key)) {
    entries_[*index].second = std::move(value);
    return;
  }
  entries_.emplace_back(std::move(key), std::move(value));
  if (!index_.empty()) {
    index_.emplace(entries_.back().first, entries_.size() - 1);
  } else if (entries_.size() > kIndexThreshold) {
    rebuildIndex();
  }
}

bool Dictionary::erase(std::string_view key) {
  const auto index = indexOf(key);
  if (!index) return false;
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(*index));
  if (!index_.empty()) rebuildIndex();
  return true;
}

void Dictionary::clear() {
  entries_.clear();
  index_.clear();
}

void Dictionary::rebuildIndex() {
  index_.clear();
  for (std::size_t i = 0; i < entries_.size(); ++i) index_.emplace(entries_[i].first, i);
}

Value::Value(std::string text) : content_(std::make_shared<const std::string>(std::move(text))) {}
Value::Value(Data data) : content_(std::make_shared<const Data>(std::move(data))) {}
Value::Value(Array array) : content_(std::make_shared<const Array>(std::move(array))) {}
Value::Value(Set set) : content_(std::make_shared<const Set>(std::move(set))) {}
Value::Value(Dictionary dictionary)
    : content_(std::make_shared<const Dictionary>(std::move(dictionary))) {}

bool Value::isNumber() const { return boolean() || integer() || largeInteger() || real(); }

std::shared_ptr<Object> Value::object() const {
  const auto* pointer = std::get_if<std::shared_ptr<Object>>(&content_);
  return pointer ? *pointer : nullptr;
}

double Value::doubleValue() const {
  if (const auto* number = real()) return *number;
  if (const auto* number = integer()) return static_cast<double>(*number);
  if (const auto* number = largeInteger()) return static_cast<double>(*number);
  if (const auto* flag = boolean()) return *flag ? 1 : 0;
  return 0;
}

std::int64_t Value::integerValue() const {
  if (const auto* number = integer()) return *number;
  if (largeInteger()) return INT64_MAX;
  if (const auto* flag = boolean()) return *flag ? 1 : 0;
  if (const auto* number = real()) {
    if (std::isnan(*number)) return 0;
    constexpr double kTwoTo63 = 9223372036854775808.0;
    if (*number >= kTwoTo63) return INT64_MAX;
    if (*number < -kTwoTo63) return INT64_MIN;
    return static_cast<std::int64_t>(*number);
  }
  return 0;
}

bool Value::boolValue() const {
  if (const auto* number = real()) return *number != 0;
  return largeInteger() || integerValue() != 0;
}

std::optional<std::string> Value::stringValue() const {
  if (const auto* text = string()) return *text;
  return std::nullopt;
}

std::string Value::className() const {
  if (isNull()) return "NSNull";
  if (isNumber()) return "NSNumber";
  if (string()) return "NSString";
  if (date()) return "NSDate";
  if (uuid()) return "NSUUID";
  if (data()) return "NSData";
  if (const auto* list = array()) return list->isMutable ? "NSMutableArray" : "NSArray";
  if (const auto* members = set()) return members->isMutable ? "NSMutableSet" : "NSSet";
  if (const auto* entries = dictionary()) {
    return entries->isMutable ? "NSMutableDictionary" : "NSDictionary";
  }
  if (const auto record = object()) return record->className();
  return "NSObject";
}

std::string Value::description() const {
  if (!array() && !set() && !dictionary()) return plainDescription(*this);
  std::string text;
  describe(*this, text);
  if (text.size() <= kLongestDescription) return text;
  // A character is kept whole.
  std::size_t end = kLongestDescription;
  while ((static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
  return text.substr(0, end) + "...";
}

const void* Value::identity() const {
  if (const auto* text = string()) return text;
  if (const auto* bytes = data()) return bytes;
  if (const auto* list = array()) return list;
  if (const auto* members = set()) return members;
  if (const auto* entries = dictionary()) return entries;
  return object().get();
}

bool operator==(const Value& a, const Value& b) { return Comparison().areEqual(a, b); }

bool operator==(const Array& a, const Array& b) { return Comparison().areEqual(a.items, b.items); }

bool operator==(const Set& a, const Set& b) { return Comparison().areEqual(a, b); }

bool operator==(const Dictionary& a, const Dictionary& b) { return Comparison().areEqual(a, b); }

std::string numberDescription(double number) {
  // Written out as people do; the fewest characters would make "1e+05" of an identifier 100000.
  constexpr double kLeastWrittenOut = 1e-4;
  constexpr double kWrittenOutBelow = 1e21;
  const double size = std::abs(number);
  const bool isWrittenOut = size == 0 || (size >= kLeastWrittenOut && size < kWrittenOutBelow);
  char text[32];
  const auto result =
      std::to_chars(text, text + sizeof text, number,
                    isWrittenOut ? std::chars_format::fixed : std::chars_format::scientific);
  return {text, result.ptr};
}

}  // namespace ks
