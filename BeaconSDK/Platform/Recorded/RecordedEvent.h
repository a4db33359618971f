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
  /// Numbers of the file format: add new kinds at the end.
  enum class Kind : std::uint8_t {
    /// The start of a process: settings, wall clock and files of the device, and the host's own
    /// data.
    begin,
    /// The end of a process.
    end,
    /// The device's answer to a question of the library, in the order of the questions.
    answer,
    /// A checksum in `subject` by which the host checks that a replay does the same.
    mark,
    /// The host's own data, outside a process.
    note,
    // From here on, input of the device.
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
  /// Since the start of the process.
  std::int64_t microseconds = 0;
  /// Number of the task, radio, ... that the entry is about; or a plain number.
  std::uint64_t subject = 0;
  Dictionary details;
  /// Only for an advertisement.
  Advertisement advertisement;
  /// Only for a fix.
  CLLocation location;

  /// True for the input of a replay: everything but answers, marks, notes and `begin`.
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
