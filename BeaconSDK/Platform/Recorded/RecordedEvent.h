#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Value.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks {

/// One entry of a recording.
struct RecordedEvent {
  /// Numbers of the file format: new kinds go to the end.
  enum class Kind : std::uint8_t {
    /// A process begins: settings, wall clock and files of the device, and what the host says.
    begin,
    /// The process ends.
    end,
    /// What the device answered to a question of the library, in the order of the questions.
    answer,
    /// The host checks that a replay does the same: `subject` is a checksum.
    mark,
    /// The host's own, outside a process.
    note,
    // From here on what enters the device by itself.
    advertisement,
    fix,
    positionFailed,
    authorization,
    scanningAvailable,
    scanningPaused,
    positioningAvailable,
    receiverGain,
    notification,
    radioState,
    discovery,
    download,
    completion,
    invalidation,
    backgroundTransfersDone,
    loaded,
    notificationAdded,
    backgroundTaskExpired,
    reachability,
    /// A call of the host application.
    host,
    wallClock,
    settings,
  };
  static constexpr Kind kLastKind = Kind::settings;

  Kind kind = Kind::note;
  /// Since the process began.
  std::int64_t microseconds = 0;
  /// Which of several equal things it is about: the number of a task, a radio, ...; or a number.
  std::uint64_t subject = 0;
  Dictionary details;
  /// Of an advertisement.
  Advertisement advertisement;
  /// Of a fix.
  CLLocation location;

  /// True for what moves a replay on: everything but answers, marks and notes.
  bool isInput() const {
    return kind != Kind::answer && kind != Kind::mark && kind != Kind::note && kind != Kind::begin;
  }
};

inline RecordedEvent eventOf(RecordedEvent::Kind kind, std::uint64_t subject,
                             Dictionary details = {}) {
  RecordedEvent event;
  event.kind = kind;
  event.subject = subject;
  event.details = std::move(details);
  return event;
}

}  // namespace ks
