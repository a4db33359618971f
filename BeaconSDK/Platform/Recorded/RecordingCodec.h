#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "BeaconSDK/Platform/Recorded/RecordedEvent.h"

namespace ks {

/// Writes entries as bytes: times as differences, and what a sender repeats only once. Entries can
/// be read only in the order in which they were written, from a `begin` on.
class RecordingEncoder {
 public:
  /// A private recording leaves addresses of senders out.
  explicit RecordingEncoder(bool isPrivate = false) : isPrivate_(isPrivate) {}

  void add(const RecordedEvent& event);
  const Data& bytes() const { return bytes_; }
  void clear() { bytes_.clear(); }

 private:
  void addAdvertisement(const Advertisement& advertisement);

  bool isPrivate_;
  Data bytes_;
  std::int64_t last_ = 0;
  /// What senders repeat, to its number.
  std::unordered_map<std::string, std::uint64_t> repeated_;
};

/// Reads what the encoder wrote. Bytes of any content are read or refused, in memory linear in
/// their number.
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
