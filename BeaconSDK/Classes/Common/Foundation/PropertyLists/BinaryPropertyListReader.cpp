#include <bit>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/NSCocoaError.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/BinaryPropertyList.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/BinaryPropertyListForm.h"
#include "BeaconSDK/Classes/Common/Foundation/UnicodeText.h"

namespace ks {

namespace {

using namespace binary_property_list;
using Bytes = std::span<const std::uint8_t>;
using Kind = PropertyList::Kind;
using NodeId = PropertyList::NodeId;

std::uint64_t bigEndian(Bytes bytes) {
  std::uint64_t number = 0;
  for (const auto byte : bytes) number = number << 8 | byte;
  return number;
}

/// Object number n of the file becomes node n of the table. Each step answers false when the file
/// is damaged; `reason_` then tells why.
class Reader {
 public:
  explicit Reader(Bytes file) : file_(file) {}

  Result<PropertyList> read() {
    if (readTrailer() && readObjects() && checkKeys()) {
      list_.setRoot(static_cast<NodeId>(root_));
      return std::move(list_);
    }
    return cocoaError(NSCocoaError::propertyListReadCorrupt,
                      "The binary property list is damaged: " + reason_);
  }

 private:
  bool fail(std::string reason) {
    reason_ = std::move(reason);
    return false;
  }

  bool readTrailer() {
    if (!isBinaryPropertyList(file_) || file_.size() < kHeader.size() + kTrailerSize) {
      return fail("it is too short");
    }
    const Bytes trailer = file_.last(kTrailerSize);
    offsetSize_ = trailer[kOffsetSizeAt];
    referenceSize_ = trailer[kReferenceSizeAt];
    count_ = bigEndian(trailer.subspan(kCountAt, 8));
    root_ = bigEndian(trailer.subspan(kRootAt, 8));
    tableOffset_ = bigEndian(trailer.subspan(kTableAt, 8));
    if (offsetSize_ < 1 || offsetSize_ > 8) return fail("offsets have an impossible width");
    if (referenceSize_ < 1 || referenceSize_ > 8) {
      return fail("references have an impossible width");
    }
    const std::uint64_t tableEnd = file_.size() - kTrailerSize;
    if (tableOffset_ < kHeader.size() || tableOffset_ > tableEnd ||
        count_ > (tableEnd - tableOffset_) / offsetSize_) {
      return fail("the offset table lies outside the file");
    }
    if (count_ > UINT32_MAX) return fail("it holds too many objects");
    if (root_ >= count_) return fail("there is no root object");
    return true;
  }

  bool readObjects() {
    std::uint64_t used = 0;
    for (std::uint64_t i = 0; i < count_; ++i) {
      const auto offset = bigEndian(file_.subspan(tableOffset_ + i * offsetSize_, offsetSize_));
      if (offset < kHeader.size() || offset >= tableOffset_) {
        return fail("object " + std::to_string(i) + " lies outside the file");
      }
      rest_ = file_.subspan(offset, tableOffset_ - offset);
      const std::size_t before = rest_.size();
      if (!readObject()) return false;
      used += before - rest_.size();
      if (used > tableOffset_ - kHeader.size()) return fail("objects overlap");
    }
    return true;
  }

  std::optional<Bytes> take(std::uint64_t size) {
    if (size > rest_.size()) {
      fail("an object reaches beyond the end");
      return std::nullopt;
    }
    const Bytes taken = rest_.first(size);
    rest_ = rest_.subspan(size);
    return taken;
  }

  bool readObject() {
    const std::uint8_t marker = rest_[0];
    rest_ = rest_.subspan(1);
    const std::uint8_t low = marker & 0x0F;
    switch (marker & 0xF0) {
      case kSimple:
        return readSimple(marker);
      case kInteger:
        return readInteger(low);
      case kReal:
        return readReal(low);
      case kDate & 0xF0:
        return readDate(marker);
      case kUid:
        return readUid(low);
      case kData:
        return readBytes(Kind::data, low);
      case kAscii:
        return readBytes(Kind::string, low);
      case kUtf16:
        return readUtf16(low);
      case kArray:
        return readList(Kind::array, low);
      case kSet:
        return readList(Kind::set, low);
      case kDictionary:
        return readDictionary(low);
      default:
        return fail("an object has an unknown kind");
    }
  }

  bool readSimple(std::uint8_t marker) {
    if (marker == kNull) {
      list_.addNull();
    } else if (marker == kTrue || marker == kFalse) {
      list_.addBoolean(marker == kTrue);
    } else {
      return fail("an object has an unknown kind");
    }
    return true;
  }

  /// Integers of 1, 2 and 4 bytes have no sign, those of 8 and 16 have one.
  bool readInteger(std::uint8_t logarithm) {
    if (logarithm > 4) return fail("an integer has an impossible width");
    const auto bytes = take(1u << logarithm);
    if (!bytes) return false;
    if (logarithm < 3) {
      list_.addUnsigned(bigEndian(*bytes));
      return true;
    }
    const std::uint64_t number = bigEndian(bytes->last(8));
    if (logarithm == 3) {
      list_.addInteger(std::bit_cast<std::int64_t>(number));
      return true;
    }
    const std::uint64_t high = bigEndian(bytes->first(8));
    if (high == 0) {
      list_.addUnsigned(number);
    } else if (high == UINT64_MAX && number > INT64_MAX) {
      list_.addInteger(std::bit_cast<std::int64_t>(number));
    } else {
      return fail("an integer does not fit 64 bits");
    }
    return true;
  }

  bool readReal(std::uint8_t logarithm) {
    if (logarithm != 2 && logarithm != 3) return fail("a real has an impossible width");
    const auto bytes = take(1u << logarithm);
    if (!bytes) return false;
    const std::uint64_t bits = bigEndian(*bytes);
    list_.addReal(logarithm == 2 ? std::bit_cast<float>(static_cast<std::uint32_t>(bits))
                                 : std::bit_cast<double>(bits));
    return true;
  }

  bool readDate(std::uint8_t marker) {
    if (marker != kDate) return fail("a date has an impossible width");
    const auto bytes = take(8);
    if (!bytes) return false;
    const auto seconds = std::bit_cast<double>(bigEndian(*bytes));
    list_.addDate(dateFromSecondsSinceReference(seconds));
    return true;
  }

  bool readUid(std::uint8_t sizeLessOne) {
    if (sizeLessOne > 7) return fail("a reference has an impossible width");
    const auto bytes = take(sizeLessOne + 1u);
    if (!bytes) return false;
    list_.addUid(bigEndian(*bytes));
    return true;
  }

  /// The length in the marker's low half or, when that says 15, in an integer that follows.
  std::optional<std::uint64_t> readLength(std::uint8_t low) {
    if (low < kLongLength) return low;
    const auto marker = take(1);
    if (!marker) return std::nullopt;
    const std::uint8_t logarithm = (*marker)[0] & 0x0F;
    if (((*marker)[0] & 0xF0) != kInteger || logarithm > 3) {
      fail("a length is no integer");
      return std::nullopt;
    }
    const auto bytes = take(1u << logarithm);
    if (!bytes) return std::nullopt;
    return bigEndian(*bytes);
  }

  /// `length` units of `size` bytes each.
  std::optional<Bytes> takeUnits(std::uint64_t length, std::uint64_t size) {
    if (length > rest_.size() / size) {
      fail("an object reaches beyond the end");
      return std::nullopt;
    }
    return take(length * size);
  }

  bool readBytes(Kind kind, std::uint8_t low) {
    const auto length = readLength(low);
    const auto bytes = length ? take(*length) : std::nullopt;
    if (!bytes) return false;
    if (kind == Kind::data) {
      list_.addData(*bytes);
      return true;
    }
    const std::string_view text(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    if (!isAscii(text)) return fail("a text is not ASCII");
    list_.addString(text);
    return true;
  }

  bool readUtf16(std::uint8_t low) {
    const auto length = readLength(low);
    const auto bytes = length ? takeUnits(*length, 2) : std::nullopt;
    if (!bytes) return false;
    list_.addString(utf8FromUtf16(*bytes));
    return true;
  }

  bool readReferences(std::uint64_t length, std::vector<NodeId>& references) {
    const auto bytes = takeUnits(length, referenceSize_);
    if (!bytes) return false;
    references.resize(length);
    const std::uint8_t* next = bytes->data();
    for (NodeId& reference : references) {
      std::uint64_t target = 0;
      for (unsigned i = 0; i < referenceSize_; ++i) target = target << 8 | *next++;
      if (target >= count_) return fail("a reference leads nowhere");
      reference = static_cast<NodeId>(target);
    }
    return true;
  }

  bool readList(Kind kind, std::uint8_t low) {
    const auto length = readLength(low);
    if (!length || !readReferences(*length, items_)) return false;
    kind == Kind::array ? list_.addArray(items_) : list_.addSet(items_);
    return true;
  }

  bool readDictionary(std::uint8_t low) {
    const auto length = readLength(low);
    if (!length || !readReferences(*length, keys_) || !readReferences(*length, items_)) {
      return false;
    }
    list_.addDictionary(keys_, items_);
    return true;
  }

  bool checkKeys() {
    for (NodeId node = 0; node < list_.size(); ++node) {
      if (list_.kind(node) != Kind::dictionary) continue;
      for (const NodeId key : list_.items(node)) {
        if (list_.kind(key) != Kind::string) return fail("a key is no text");
      }
    }
    return true;
  }

  Bytes file_;
  /// What is left of the object under way up to the offset table.
  Bytes rest_;
  std::uint8_t offsetSize_ = 0;
  std::uint8_t referenceSize_ = 0;
  std::uint64_t count_ = 0;
  std::uint64_t root_ = 0;
  std::uint64_t tableOffset_ = 0;
  PropertyList list_;
  std::vector<NodeId> keys_;
  std::vector<NodeId> items_;
  std::string reason_;
};

}  // namespace

bool isBinaryPropertyList(std::span<const std::uint8_t> bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return text.starts_with(kHeader);
}

Result<PropertyList> readBinaryPropertyList(std::span<const std::uint8_t> bytes) {
  return Reader(bytes).read();
}

}  // namespace ks
