#pragma once

#include <cstdint>
#include <optional>

#include "BeaconSDK/Platform/Api/Date.h"

namespace ks {

/// A beacon is not given up before this much silence. In 189 hours of recordings all receivers at
/// once were silent for longer once, for 35 s; 40 s would put every exit off to spare that one.
inline constexpr Seconds kLeastSilence{30};
/// The limit for a beacon of which only one packet is known. It is taken for the slowest kind that
/// is never to be lost, a packet every 5 s of which half are lost: 24 losses in a row, 6e-8.
inline constexpr Seconds kUnlearnedSilence{120};
/// Nor is a beacon waited for longer than this, which bounds the promise: mean gaps up to 55 s.
inline constexpr Seconds kLongestSilence{900};
/// The probability that a beacon which is still there is given up in one of its gaps: for a beacon
/// that is heard every 10 s less than once in three years.
inline constexpr double kFalseExitProbability = 1e-7;

/// Packets nearer to each other are one: a beacon sends on several channels, and an answer to a
/// scan follows at once.
inline constexpr Seconds kSamePacket{0.05};

/// A beacon that comes back after no more silence than this was there all the time: something stood
/// in between.
inline constexpr Seconds kLongestOutage{180};
/// How long an outage counts.
inline constexpr Seconds kOutageMemory{24 * 3600};

/// A strength stands in for the present one for so many mean gaps, which a packet that is still
/// sent exceeds once in 160,000 gaps; a second more matters less here than at an exit.
inline constexpr double kBelievedGaps = 12;
inline constexpr Seconds kLeastBelieved{5};
/// A beacon is listed with an unknown distance for this long before it disappears, so that whoever
/// looks only now and then sees that too.
inline constexpr Seconds kUnknownListing{5};

/// Learns how a beacon's packets arrive, and from that how long its silence is believable: the one
/// owner of that question.
///
/// Losses that are independent make gaps with a geometric tail, and the exponential distribution of
/// the same mean lies above that tail. So a limit is mean * ln(1 / probability), the mean taken
/// two standard errors too long while few gaps are known. Losses that come together, as behind a
/// body or a door, are learned from silences beyond a limit that ended soon: for a day the next
/// ones are borne.
class PacketGaps {
 public:
  /// Times never go back.
  void heard(Seconds time);
  /// The device did not listen for a while: the silence until the next packet says nothing.
  void interrupt() { last_.reset(); }

  /// Of silence after the last packet; from then on the beacon is gone.
  Seconds silenceLimit() const;
  /// Of silence after the last packet; from then on the last strength says nothing any more.
  Seconds strengthLimit() const;
  /// From then on the beacon is not listed, and what its filter knows is forgotten.
  Seconds listingLimit() const { return strengthLimit() + kUnknownListing; }
  /// Absent while only one packet is known.
  std::optional<Seconds> meanGap() const;

 private:
  /// The silence limit without what outages have taught.
  Seconds plainLimit() const;
  void learnOutage(Seconds gap, Seconds time);

  std::optional<Seconds> last_;
  std::uint32_t count_ = 0;
  double mean_ = 0;
  /// The mean, two standard errors too long; absent as `meanGap`.
  std::optional<Seconds> longMean_;
  /// The silence that outages have taught to bear, and when the last of them ended.
  Seconds borne_{0};
  Seconds outageEnd_{0};
};

}  // namespace ks
