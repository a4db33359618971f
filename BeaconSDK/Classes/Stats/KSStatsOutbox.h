#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Classes/Common/Foundation/Alarm.h"
#include "BeaconSDK/Classes/Stats/StatsLedger.h"
#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Value.h"

/// Statistics that wait until the portal has accepted or refused them, in the order of their
/// creation, also across restarts. Main queue only.
///
/// Events have consecutive numbers and settle in that order, so the number of settled events,
/// stored in the ledger's file, is the number of the event before the first waiting one. Each
/// waiting event is a file of its own: adding one costs one small write, however many wait. The
/// file is removed only after the ledger was written; a kill in between leaves a file with a
/// settled number, which is removed at the next start. An event that was sent but not settled when
/// the process died is sent again under the same key.
class KSStatsOutbox : public std::enable_shared_from_this<KSStatsOutbox> {
 public:
  /// More than a week of a busy kiosk without network; 8 MB at one disk block each.
  static constexpr std::int64_t kMostWaiting = 2000;
  /// The pause after the first failure; it doubles with each further one, up to the longest.
  static constexpr ks::Seconds kFirstPause{5};
  static constexpr ks::Seconds kLongestPause{900};

  /// Begins the keys of a device without an identifier.
  static constexpr const char* kNoOrigin = "anonymous";

  struct Event {
    std::string url;
    ks::Data body;
    /// The same for each attempt, and for no other event.
    std::string idempotencyKey;
  };
  /// The reply's status, absent when the transfer failed. Main queue.
  using Reply = std::function<void(std::optional<int> status)>;
  /// Starts the transfer of one event; calls `reply` at most once.
  using Sender = std::function<void(const Event& event, Reply reply)>;

  /// Reads what `folder` holds. `rootURL` is the portal whose events are sent. `origin` begins the
  /// idempotency keys.
  KSStatsOutbox(std::filesystem::path folder, std::string rootURL, std::string origin,
                Sender sender, ks::DispatchQueue& mainQueue);

  /// `now` makes the key unique also when a lost disk write lets a number be used again.
  void add(std::string url, ks::Data body, ks::Date now);
  /// Sends waiting events, unless a transfer or a pause is running.
  void sendNext();
  /// Ends the pause and sends nothing more; events still go to disk.
  void stop();
  /// Removes all events and the ledger.
  void purge();
  /// Removes the origin from the waiting events' keys and starts further ones without it.
  void forgetOrigin();

  const ks::StatsLedger& ledger() const { return ledger_; }
  /// Of the dropped ones, those since this outbox was made.
  std::int64_t droppedLately() const { return ledger_.droppedCount() - droppedBefore_; }
  /// Seconds until the next attempt after the last failure; the first pause when there was none.
  ks::Seconds pause() const { return pause_; }

 private:
  void load();
  void loadLedger();
  std::int64_t firstWaiting() const { return ledger_.settled() + 1; }
  std::filesystem::path fileOf(std::int64_t number) const;
  std::optional<Event> read(std::int64_t number) const;
  /// Stored in memory when it cannot be written.
  void write(std::int64_t number, Event event);
  void makeRoom();
  void settle(std::int64_t& counter);
  /// Replies to any but the latest attempt are ignored.
  void replied(std::uint64_t attempt, std::optional<int> status);

  const std::filesystem::path folder_;
  const std::string rootURL_;
  std::string origin_;
  const Sender sender_;
  ks::StatsLedger ledger_;
  std::int64_t droppedBefore_ = 0;
  /// Events whose file could not be written.
  std::map<std::int64_t, Event> unwritten_;
  bool isSending_ = false;
  std::uint64_t attempt_ = 0;
  bool isStopped_ = false;
  ks::Seconds pause_ = kFirstPause;
  ks::Alarm alarm_;
};
