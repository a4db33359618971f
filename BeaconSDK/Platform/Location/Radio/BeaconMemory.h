#pragma once

#include <cstdint>
#include <vector>

#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"
#include "BeaconSDK/Platform/Location/Radio/BorderRule.h"
#include "BeaconSDK/Platform/Location/Radio/RssiFilter.h"
#include "BeaconSDK/Platform/Location/Regions/PacketGaps.h"

namespace ks {

struct MonitoredRegion;

/// One received packet of a beacon.
struct BeaconPacket {
  BeaconFrame frame;
  Dbm rssi{0};
  /// When it was received.
  Seconds time{0};
  /// Tells senders apart; 0 when the source does not name them.
  std::uint64_t sender = 0;
};

/// All that is known of one beacon: how its packets arrive, how strong they are, in which band that
/// puts it, and who sends them. How long each of these is believed follows from its packet gaps.
class BeaconMemory {
 public:
  BeaconMemory(std::uint16_t major, std::uint16_t minor) : major_(major), minor_(minor) {}

  /// Packets that are older than one before count as simultaneous with it.
  void hear(const BeaconPacket& packet);
  /// The device did not listen for a while.
  void interrupt() { gaps_.interrupt(); }

  std::uint16_t major() const { return major_; }
  std::uint16_t minor() const { return minor_; }
  Seconds lastHeard() const { return heard_; }
  const PacketGaps& gaps() const { return gaps_; }
  /// True once, when it has shown that two senders use this identity in turn. A single one that
  /// changes its address does not count.
  bool foundShared();

  /// False when the beacon has been silent for too long, or its first packets leave its proximity
  /// open.
  bool isListed(Seconds now) const;
  /// The beacon as ranging reports it; distance and proximity are unknown without a believable
  /// strength.
  CLBeacon ranged(UUID uuid, Seconds now) const;

  /// The monitored regions that it belongs to, as of the group's `regionsVersion`.
  std::vector<MonitoredRegion*> regions;
  std::uint64_t regionsVersion = 0;

 private:
  void measure(Dbm rssi, Seconds time);
  void noteSender(std::uint64_t sender);

  std::uint16_t major_;
  std::uint16_t minor_;
  Dbm measuredPower_{0};
  /// When its last packet came, and the last one with a usable strength.
  Seconds heard_{0};
  Seconds measured_{0};
  RssiFilter filter_;
  PacketGaps gaps_;
  BorderRule rule_;
  std::uint64_t sender_ = 0;
  std::uint64_t senderBefore_ = 0;
  /// How often a sender took over that had already been replaced.
  int returns_ = 0;
  bool sharedTold_ = false;
};

}  // namespace ks
