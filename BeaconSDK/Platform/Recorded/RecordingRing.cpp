#include "BeaconSDK/Platform/Recorded/RecordingRing.h"

#include <utility>

#include "BeaconSDK/Platform/Recorded/RecordingCodec.h"
#include "BeaconSDK/Platform/Recorded/RecordingFile.h"

namespace ks {

std::uintmax_t RecordingRing::read(const std::filesystem::path& path) {
  auto file = RecordingFileReader::open(path);
  if (!file) return 0;
  std::uintmax_t size = kRecordingMark.size();
  RecordedEvent event;
  while (auto block = file.value().next()) {
    // A beginning starts a block.
    RecordingDecoder decoder;
    decoder.setBlock(std::move(*block));
    if (decoder.next(event) && event.kind == RecordedEvent::Kind::begin) {
      const Date* const start = event.details["start"].date();
      parts_.push_back({size, start != nullptr ? *start : Date{}});
    }
    size = file.value().position();
  }
  return parts_.empty() ? 0 : size;
}

bool RecordingRing::isPartFull(std::uintmax_t size, Date now) const {
  if (parts_.empty() || !limit_.isSet()) return false;
  const Seconds age = now - parts_.back().start;
  if (age < kShortestPart) return false;
  const auto share = static_cast<double>(size - parts_.back().offset);
  return (limit_.bytes > 0 && share >= static_cast<double>(limit_.bytes) * kShare) ||
         (limit_.time.count() > 0 && age >= limit_.time * kShare);
}

std::uintmax_t RecordingRing::drop(std::uintmax_t size, Date now) {
  if (parts_.empty()) return 0;
  const std::uintmax_t before = parts_.front().offset;
  const auto isTooMuch = [&] {
    const std::uintmax_t kept = size - (parts_.front().offset - before);
    return (limit_.bytes > 0 && kept > limit_.bytes) ||
           (limit_.time.count() > 0 && now - parts_[1].start >= limit_.time);
  };
  while (parts_.size() > 1 && isTooMuch()) parts_.erase(parts_.begin());
  return parts_.front().offset;
}

void RecordingRing::cutAt(std::uintmax_t offset, std::uintmax_t newOffset) {
  for (Part& part : parts_) part.offset = part.offset - offset + newOffset;
}

}  // namespace ks
