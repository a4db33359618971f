#include <bit>
#include <string_view>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/BinaryPropertyList.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/BinaryPropertyListForm.h"
#include "BeaconSDK/Classes/Common/Foundation/UnicodeText.h"

namespace ks {

namespace {

using namespace binary_property_list;
using Kind = PropertyList::Kind;
using NodeId = PropertyList::NodeId;

/// The binary logarithm of the narrowest width of 1, 2, 4 or 8 bytes that holds `number`.
int widthLogarithm(std::uint64_t number) {
  return number <= UINT8_MAX ? 0 : number <= UINT16_MAX ? 1 : number <= UINT32_MAX ? 2 : 3;
}

class Writer {
 public:
  explicit Writer(const PropertyList& list)
      : list_(list), referenceSize_(1 << widthLogarithm(list.size())) {}

  Data write() {
    bytes_.reserve(list_.size() * 16);
    append(kHeader);
    offsets_.reserve(list_.size());
    for (NodeId node = 0; node < list_.size(); ++node) {
      offsets_.push_back(bytes_.size());
      writeNode(node);
    }
    writeTableAndTrailer();
    return std::move(bytes_);
  }

 private:
  void append(std::uint64_t number, int size) {
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
      bytes_.push_back(static_cast<std::uint8_t>(number >> shift));
    }
  }
  void append(std::span<const std::uint8_t> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  }
  void append(std::string_view text) { bytes_.insert(bytes_.end(), text.begin(), text.end()); }

  void writeNode(NodeId node) {
    switch (list_.kind(node)) {
      case Kind::null:
        return append(kNull, 1);
      case Kind::boolean:
        return append(list_.boolean(node) ? kTrue : kFalse, 1);
      case Kind::integer:
        return writeInteger(list_.integer(node));
      case Kind::largeInteger:
        append(kInteger | 4, 1);
        append(0, 8);
        return append(list_.largeInteger(node), 8);
      case Kind::real:
        append(kReal | 3, 1);
        return append(std::bit_cast<std::uint64_t>(list_.real(node)), 8);
      case Kind::date:
        append(kDate, 1);
        return append(std::bit_cast<std::uint64_t>(secondsSinceReference(list_.date(node))), 8);
      case Kind::uid:
        return writeUid(list_.uid(node));
      case Kind::data:
        writeMarker(kData, list_.data(node).size());
        return append(list_.data(node));
      case Kind::string:
        return writeText(list_.text(node));
      case Kind::array:
        return writeList(kArray, node);
      case Kind::set:
        return writeList(kSet, node);
      case Kind::dictionary:
        writeList(kDictionary, node);
        return writeReferences(list_.dictionaryValues(node));
    }
  }

  /// Only integers of 8 bytes have a sign.
  void writeInteger(std::int64_t value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const int logarithm = widthLogarithm(bits);
    append(kInteger | logarithm, 1);
    append(bits, 1 << logarithm);
  }

  void writeUid(std::uint64_t value) {
    const int size = 1 << widthLogarithm(value);
    append(kUid | (size - 1), 1);
    append(value, size);
  }

  void writeMarker(std::uint8_t kind, std::size_t length) {
    if (length < kLongLength) {
      append(kind | length, 1);
      return;
    }
    append(kind | kLongLength, 1);
    writeInteger(static_cast<std::int64_t>(length));
  }

  void writeText(std::string_view text) {
    if (isAscii(text)) {
      writeMarker(kAscii, text.size());
      return append(text);
    }
    const Data units = utf16FromUtf8(text);
    writeMarker(kUtf16, units.size() / 2);
    append(units);
  }

  void writeList(std::uint8_t kind, NodeId node) {
    const auto items = list_.items(node);
    writeMarker(kind, items.size());
    writeReferences(items);
  }

  void writeReferences(std::span<const NodeId> nodes) {
    for (const NodeId node : nodes) append(node, referenceSize_);
  }

  void writeTableAndTrailer() {
    const std::uint64_t tableOffset = bytes_.size();
    const int offsetSize = 1 << widthLogarithm(tableOffset);
    for (const auto offset : offsets_) append(offset, offsetSize);
    append(0, kOffsetSizeAt);
    append(offsetSize, 1);
    append(referenceSize_, 1);
    append(list_.size(), 8);
    append(list_.root(), 8);
    append(tableOffset, 8);
  }

  const PropertyList& list_;
  int referenceSize_;
  Data bytes_;
  std::vector<std::uint64_t> offsets_;
};

}  // namespace

Data writeBinaryPropertyList(const PropertyList& list) { return Writer(list).write(); }

}  // namespace ks
