#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Location/Wakeup.h"
#include "BeaconSDK/Platform/Recorded/EnclosedPlatform.h"
#include "BeaconSDK/Platform/Recorded/RecordingCodec.h"
#include "BeaconSDK/Platform/Recorded/RecordingFile.h"
#include "BeaconSDK/Platform/Recorded/RecordingRing.h"

namespace ks {

/// Writes a recording. Main queue only.
class RecordingWriter {
 public:
  struct Options {
    /// Omits tags and senders' addresses and rounds positions to about 100 m: a replay then behaves
    /// similarly, not equally.
    bool isPrivate = false;
    /// How much is kept. If set, an existing recording is continued, not replaced.
    RecordingLimit limit{};
  };

  static Result<std::unique_ptr<RecordingWriter>> create(const std::filesystem::path& path,
                                                         Options options);
  RecordingWriter(RecordingFileWriter file, RecordingRing ring, Options options)
      : options_(options),
        encoder_(options.isPrivate),
        file_(std::move(file)),
        ring_(std::move(ring)) {}
  RecordingWriter(const RecordingWriter&) = delete;
  RecordingWriter& operator=(const RecordingWriter&) = delete;
  ~RecordingWriter() { flush(); }

  /// Adds an entry. Entries are written in blocks, at the latest after ten seconds of the
  /// recording.
  void add(RecordedEvent event);
  void flush();
  /// Writes the entries that have waited for that long at this time of the recording.
  void flushIfDue(std::int64_t microseconds);
  bool hasUnwritten() const { return !encoder_.bytes().empty() && !error_; }
  const Options& options() const { return options_; }
  /// True when the limit asks for another process to begin: only whole ones are dropped.
  bool isPartFull() const { return ring_.isPartFull(file_.size(), date()); }
  /// Why the recording ended early; absent while it continues.
  const std::optional<Error>& error() const { return error_; }

 private:
  void begin(const RecordedEvent& event);
  void keepWithinLimit();
  /// Now, by the wall clock at the beginning of the process.
  Date date() const { return start_ + Seconds{static_cast<double>(now_) / 1e6}; }

  Options options_;
  RecordingEncoder encoder_;
  RecordingFileWriter file_;
  RecordingRing ring_;
  Date start_;
  std::optional<Error> error_;
  std::int64_t lastFlush_ = 0;
  std::int64_t now_ = 0;
};

/// Encloses another platform: the library runs in virtual time that follows the device's clock, and
/// all input is recorded, so that `ReplayedPlatform` can repeat it exactly.
///
/// The library runs on the device's main queue, its background work included, so a large reply
/// blocks the host for longer than without a recording. Main queue only.
class RecordedPlatform : private Outside, private LocationInput, public EnclosedPlatform {
 public:
  /// `engine` is the location engine of `device`; this platform takes over its regions and its
  /// input. `state` is the device's folder of user defaults and monitored regions, `host` the data
  /// that the host needs for a replay; it must hold no password. All must outlive this object.
  RecordedPlatform(Platform& device, LocationEngine& engine, std::filesystem::path state,
                   RecordingWriter& writer, Dictionary host);
  ~RecordedPlatform() override;

  /// Calls the host handler with these arguments, now and in a replay.
  void call(std::string name, Dictionary arguments = {});
  /// Runs all tasks due now.
  void settle();

 private:
  Platform* realDevice() override { return realDevice_; }
  Value answer(std::string_view question, const std::function<Value()>& ask) override;
  void enter(RecordedEvent event) override;
  void demandChanged(const LocationDemand& demand) override;
  void departed(const std::string&) override {}

  void setAuthorizationStatus(CLAuthorizationStatus status) override;
  void setBeaconScanningAvailable(bool available) override;
  void setBeaconScanningPaused(bool paused) override;
  void setPositioningAvailable(bool available) override;
  void setReceiverGain(Dbm gain) override;
  void handleAdvertisement(const Advertisement& advertisement) override;
  void handleFix(const CLLocation& fix) override;
  void positionFailed(const Error& error) override;
  void enterNumber(RecordedEvent::Kind kind, std::uint64_t number);

  void writeBeginning(Dictionary host);
  void observe(const char* notification);
  void follow(RecordedEvent event);
  void passToNow();
  void checkWallClock();
  void checkSettings();
  void armWakeup();

  /// Null during destruction.
  Platform* realDevice_;
  LocationEngine& engine_;
  RecordingWriter& writer_;
  Seconds begin_;
  std::int64_t now_ = 0;
  std::int64_t lastCheck_ = 0;
  bool isRunning_ = false;
  std::deque<RecordedEvent> waiting_;
  Wakeup wakeup_;
  std::vector<NSNotificationCenter::Observation> observations_;
};

}  // namespace ks
