#include "BeaconSDK/Classes/Network/PortalDocument.h"

#include <charconv>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Network/JSONReading.h"
#include "BeaconSDK/Classes/Network/NSJSONSerialization.h"
#include "BeaconSDK/Classes/Network/PortalNumber.h"

namespace ks {

namespace {

/// Fills one item at a time from the parser's events.
class ItemReader : public JSONHandlerBase {
 public:
  using Take = std::function<void(const PortalObject& item)>;

  explicit ItemReader(const Take& take) : take_(take) {}

  /// Why the document is JSON but no list of objects.
  const std::optional<std::string>& refusal() const { return refusal_; }

  bool on_object_begin(Code& error) {
    if (isInsideList()) return enterList();
    if (!isList_) return refuse(kNoList, error);
    if (open_.empty()) {
      item_.clear();
      open_.push_back(PortalItem::kRoot);
    } else {
      open_.push_back(item_.addObject(open_.back(), name_));
    }
    return true;
  }
  bool on_object_end(std::size_t, Code&) {
    if (isInsideList()) return leaveList();
    open_.pop_back();
    if (!open_.empty()) return true;
    take_(item_.root());
    ++count_;
    return true;
  }
  bool on_array_begin(Code& error) {
    if (isInsideList()) return enterList();
    if (!isList_) return isList_ = true;
    if (open_.empty()) return refuseElement(error);
    item_.addList(open_.back(), name_);
    return enterList();
  }
  bool on_array_end(std::size_t, Code&) { return isInsideList() ? leaveList() : true; }

  bool on_key_part(Text part, std::size_t, Code&) { return collect(part); }
  bool on_key(Text part, std::size_t, Code&) {
    name_.assign(whole(part));
    text_.clear();
    return true;
  }
  bool on_string_part(Text part, std::size_t, Code&) { return collect(part); }
  bool on_string(Text part, std::size_t, Code& error) { return add(whole(part), error); }
  bool on_number_part(Text part, Code&) { return collect(part); }
  bool on_int64(std::int64_t number, Text, Code& error) { return addInteger(number, error); }
  bool on_uint64(std::uint64_t number, Text, Code& error) { return addInteger(number, error); }
  /// Boost.JSON's own conversion can be off in the last digit, which would show in the text.
  bool on_double(double, Text part, Code& error) {
    if (const auto number = PortalNumber::nearestDouble(whole(part))) {
      return add(numberDescription(*number), error);
    }
    error = boost::json::error::exponent_overflow;
    return false;
  }
  bool on_bool(bool value, Code& error) { return add(value ? "1" : "0", error); }
  bool on_null(Code& error) {
    if (isInsideList()) return true;
    if (open_.empty()) return refuseElement(error);
    item_.addNull(open_.back(), name_);
    return true;
  }

 private:
  static constexpr const char* kNoList = "The portal's document is not a list";

  /// Nothing in a list that an element holds is of interest.
  bool isInsideList() const { return listDepth_ > 0; }
  bool enterList() {
    ++listDepth_;
    return true;
  }
  bool leaveList() {
    --listDepth_;
    return true;
  }
  bool collect(Text part) {
    text_.append(part.data(), part.size());
    return true;
  }
  /// A text whose last part is `last`; nearly all come in one.
  std::string_view whole(Text last) {
    if (text_.empty()) return {last.data(), last.size()};
    collect(last);
    return text_;
  }
  template <class Integer>
  bool addInteger(Integer number, Code& error) {
    char digits[std::numeric_limits<Integer>::digits10 + 2];
    return add({digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr}, error);
  }
  bool add(std::string_view text, Code& error) {
    if (!isInsideList() && open_.empty()) return refuseElement(error);
    if (!isInsideList()) item_.addText(open_.back(), name_, text);
    text_.clear();
    return true;
  }
  bool refuseElement(Code& error) {
    return refuse(
        isList_ ? "Element " + std::to_string(count_) + " of the portal's document is not an object"
                : kNoList,
        error);
  }
  bool refuse(std::string reason, Code& error) {
    refusal_ = std::move(reason);
    error = boost::json::error::not_object;
    return false;
  }

  const Take& take_;
  bool isList_ = false;
  std::size_t count_ = 0;
  /// Containers inside a list of the item that are open, the list itself included.
  std::size_t listDepth_ = 0;
  PortalItem item_;
  /// The objects of the item that are open.
  std::vector<PortalItem::Index> open_;
  std::string name_;
  std::string text_;
  std::optional<std::string> refusal_;
};

}  // namespace

std::optional<Error> readPortalDocument(std::string_view document,
                                        const std::function<void(const PortalObject& item)>& take) {
  boost::json::basic_parser<ItemReader> parser(jsonOptions(NSJSONSerialization::kMaximumDepth),
                                               take);
  const auto error = readJSON(document, parser);
  const auto& refusal = parser.handler().refusal();
  return refusal ? NSErrorHelpers::errorWithDescription(*refusal) : error;
}

}  // namespace ks
