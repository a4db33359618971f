#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"

namespace ks {

/// How much of a recording is kept. 0 bytes or 0 seconds: no such limit.
struct RecordingLimit {
  std::uintmax_t bytes = 0;
  Seconds time{0};

  bool isSet() const { return bytes > 0 || time.count() > 0; }
};

/// Tracks the parts of a recording that is kept within a limit. A part begins with a process and
/// the files of its device, so it can be replayed without the parts before it. Whole parts are
/// dropped, the oldest first; the last one is kept.
class RecordingRing {
 public:
  struct Part {
    /// In the file.
    std::uintmax_t offset = 0;
    Date start;
  };
  /// Share of the limit after which a part is full, so that dropping one leaves most of the rest.
  static constexpr double kShare = 0.25;
  /// Minimum length of a part: beginning a process costs work and writes its files.
  static constexpr Seconds kShortestPart{600};

  explicit RecordingRing(RecordingLimit limit) : limit_(limit) {}

  /// Finds the parts of a file and returns the size of its whole blocks; 0 if it is no recording.
  std::uintmax_t read(const std::filesystem::path& path);

  void partBegins(const Part& part) { parts_.push_back(part); }
  /// True if the last part of a file of this size is full at this date.
  bool isPartFull(std::uintmax_t size, Date now) const;
  /// Drops the parts that exceed the limit and returns the offset of the first one kept.
  std::uintmax_t drop(std::uintmax_t size, Date now);
  /// Call after the file's front was removed: what was at `offset` is at `newOffset` now.
  void cutAt(std::uintmax_t offset, std::uintmax_t newOffset);

 private:
  RecordingLimit limit_;
  std::vector<Part> parts_;
};

}  // namespace ks
