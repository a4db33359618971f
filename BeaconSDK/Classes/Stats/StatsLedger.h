#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace ks {

/// Delivery counts of the stored statistics since the outbox was created or purged. Each event in
/// `made` is in exactly one of the other counts.
struct StatsLedger {
  std::int64_t made = 0;
  std::int64_t waiting = 0;
  /// Accepted by the portal (2xx).
  std::int64_t sent = 0;
  /// Refused permanently by the portal (4xx, but 401, 408, 425 and 429).
  std::int64_t refused = 0;
  /// Never delivered, by reason: "outboxFull" (the oldest is dropped), "otherPortal" (created for
  /// another root URL), "lost" (its file is missing or damaged).
  std::map<std::string, std::int64_t> dropped;

  std::int64_t droppedCount() const {
    std::int64_t count = 0;
    for (const auto& [reason, times] : dropped) count += times;
    return count;
  }
  /// Events with a final outcome.
  std::int64_t settled() const { return sent + refused + droppedCount(); }
  /// True when the counts add up.
  bool agrees() const { return waiting >= 0 && made == settled() + waiting; }

  friend bool operator==(const StatsLedger&, const StatsLedger&) = default;
};

}  // namespace ks
