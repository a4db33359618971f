#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "BeaconSDK/Platform/Recorded/RecordedEvent.h"

namespace ks {

/// Encodes entries as bytes: times as differences, and repeated advertisement contents by number.
/// Entries can be decoded only in their order, starting with a `begin`.
class RecordingEncoder {
 public:
  /// A private recording omits addresses of senders.
  explicit RecordingEncoder(bool isPrivate = false) : isPrivate_(isPrivate) {}

  void add(const RecordedEvent& event);
  const Data& bytes() const { return bytes_; }
  void clear() { bytes_.clear(); }

 private:
  void addAdvertisement(const Advertisement& advertisement);

  bool isPrivate_;
  Data bytes_;
  std::int64_t last_ = 0;
  /// Repeated advertisement contents and their numbers.
  std::unordered_map<std::string, std::uint64_t> repeated_;
};

/// Decodes entries. Safe for untrusted bytes; memory is linear in their number.
class RecordingDecoder {
 public:
  /// Reads the entries of one block from its first to its last.
  void setBlock(Data block);
  /// Reads the next entry into `event`; false at the block's end, and at the first entry that is
  /// damaged.
  bool next(RecordedEvent& event);
  /// False when the block held an entry that is damaged.
  bool isSound() const { return isSound_; }

 private:
  bool readAdvertisement(RecordedEvent& event);
  bool readFix(RecordedEvent& event);
  bool readDetails(RecordedEvent& event);
  std::optional<std::uint64_t> number();
  std::optional<std::int64_t> signedNumber();
  std::optional<double> real();
  std::optional<std::string> text();

  Data block_;
  std::size_t at_ = 0;
  bool isSound_ = true;
  std::int64_t last_ = 0;
  std::vector<Advertisement> repeated_;
};

}  // namespace ks
