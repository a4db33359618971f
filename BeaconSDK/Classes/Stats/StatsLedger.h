#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace ks {

/// What became of the kept statistics since the outbox was made or purged. Each made event is in
/// exactly one of the other counts.
struct StatsLedger {
  std::int64_t made = 0;
  std::int64_t waiting = 0;
  /// The portal accepted it (2xx).
  std::int64_t sent = 0;
  /// The portal refused it for good (4xx, but 401, 408, 425 and 429).
  std::int64_t refused = 0;
  /// Never delivered, by reason: "outboxFull" (the oldest makes room), "otherPortal" (made for
  /// another root URL), "lost" (its file is gone or damaged).
  std::map<std::string, std::int64_t> dropped;

  std::int64_t droppedCount() const {
    std::int64_t count = 0;
    for (const auto& [reason, times] : dropped) count += times;
    return count;
  }
  std::int64_t settled() const { return sent + refused + droppedCount(); }
  bool agrees() const { return waiting >= 0 && made == settled() + waiting; }

  friend bool operator==(const StatsLedger&, const StatsLedger&) = default;
};

}  // namespace ks
