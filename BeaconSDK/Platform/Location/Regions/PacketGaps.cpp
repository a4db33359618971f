#include "BeaconSDK/Platform/Location/Regions/PacketGaps.h"

#include <algorithm>
#include <cmath>

namespace ks {

namespace {

// The mean runs over about the last 64 gaps, so that the few long ones at the edge of the range
// hardly count when the device walks away.
constexpr double kLeastWeight = 1.0 / 64;
constexpr std::uint32_t kEnoughGaps = 1u << 20;
// An outage is borne with a quarter to spare, but one alone at most doubles the limit.
constexpr double kOutageMargin = 1.25;
constexpr double kOutageGrowth = 2;

}  // namespace

void PacketGaps::heard(Seconds time) {
  if (!last_) {
    last_ = time;
    return;
  }
  const auto gap = time - *last_;
  if (gap < kSamePacket) return;
  last_ = time;
  learnOutage(gap, time);
  // Longer than that the beacon was away: the gap says nothing about its packets.
  if (gap > plainLimit()) return;
  if (count_ < kEnoughGaps) ++count_;
  mean_ += std::max(1.0 / count_, kLeastWeight) * (gap.count() - mean_);
  longMean_ = Seconds{mean_ * (1 + 2 / std::sqrt(count_))};
}

void PacketGaps::learnOutage(Seconds gap, Seconds time) {
  if (time - outageEnd_ > kOutageMemory) borne_ = Seconds{0};
  if (gap <= strengthLimit() || gap > kLongestOutage) return;
  borne_ = std::max(borne_, std::min(kOutageMargin * gap, kOutageGrowth * silenceLimit()));
  outageEnd_ = time;
}

Seconds PacketGaps::plainLimit() const {
  static const double kFactor = -std::log(kFalseExitProbability);
  if (!longMean_) return kUnlearnedSilence;
  return std::clamp(kFactor * *longMean_, kLeastSilence, kLongestSilence);
}

Seconds PacketGaps::silenceLimit() const { return std::max(plainLimit(), borne_); }

Seconds PacketGaps::strengthLimit() const {
  if (!longMean_) return kUnlearnedSilence / 2;
  return std::clamp(std::max(kBelievedGaps * *longMean_, borne_), kLeastBelieved, kLongestSilence);
}

std::optional<Seconds> PacketGaps::meanGap() const {
  if (count_ == 0) return std::nullopt;
  return Seconds{mean_};
}

}  // namespace ks
