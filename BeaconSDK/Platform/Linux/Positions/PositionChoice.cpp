#include "BeaconSDK/Platform/Linux/Positions/PositionChoice.h"

#include <algorithm>

namespace ks {

std::optional<double> PositionChoice::uncertainty(PositionSource source, Seconds now) const {
  const auto& kept = kept_[static_cast<std::size_t>(source)];
  if (!kept) return std::nullopt;
  const Seconds age = std::max(now - kept->taken, Seconds{0});
  if (source == PositionSource::gpsd && age > kGpsdSilence) return std::nullopt;
  return kept->fix.horizontalAccuracy.value + kUncertaintyGrowth * age.count();
}

bool PositionChoice::offer(PositionSource source, const CLLocation& fix, Seconds taken,
                           Seconds now) {
  kept(source) = Kept{fix, taken};
  const auto other =
      source == PositionSource::gpsd ? PositionSource::geoClue : PositionSource::gpsd;
  const auto mine = uncertainty(source, now);
  const auto others = uncertainty(other, now);
  return mine && (!others || *mine <= *others);
}

std::optional<CLLocation> PositionChoice::best(Seconds now) const {
  std::optional<double> least;
  std::optional<CLLocation> best;
  for (const auto source : {PositionSource::geoClue, PositionSource::gpsd}) {
    const auto each = uncertainty(source, now);
    if (!each || (least && *least <= *each)) continue;
    least = each;
    best = kept_[static_cast<std::size_t>(source)]->fix;
  }
  return best;
}

}  // namespace ks
