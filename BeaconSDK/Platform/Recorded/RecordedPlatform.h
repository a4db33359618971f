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

namespace ks {

/// A recording while it is made. Main queue only.
class RecordingWriter {
 public:
  struct Options {
    /// Leaves tags and senders' addresses out and rounds positions to about 100 m: a replay then
    /// shows a day like this one, not this one.
    bool isPrivate = false;
  };

  static Result<std::unique_ptr<RecordingWriter>> create(const std::filesystem::path& path,
                                                         Options options);
  RecordingWriter(RecordingFileWriter file, Options options)
      : options_(options), encoder_(options.isPrivate), file_(std::move(file)) {}
  RecordingWriter(const RecordingWriter&) = delete;
  RecordingWriter& operator=(const RecordingWriter&) = delete;
  ~RecordingWriter() { flush(); }

  /// Entries reach the disk in blocks, at the latest ten seconds of the recording later.
  void add(RecordedEvent event);
  void flush();
  /// Writes what has waited for long enough at this moment of the recording.
  void flushIfDue(std::int64_t microseconds);
  bool hasUnwritten() const { return !encoder_.bytes().empty() && !error_; }
  const Options& options() const { return options_; }
  /// Why the recording ended early; absent while it goes on.
  const std::optional<Error>& error() const { return error_; }

 private:
  Options options_;
  RecordingEncoder encoder_;
  RecordingFileWriter file_;
  std::optional<Error> error_;
  std::int64_t lastFlush_ = 0;
  std::int64_t now_ = 0;
};

/// Another platform, enclosed: the library lives in virtual time that follows the device's clock,
/// and everything that enters is written down, so that `ReplayedPlatform` can live through it again
/// exactly.
///
/// The device's main queue carries everything, the library's own background work included, so a
/// large reply keeps the host waiting longer than it does without a recording. Main queue only.
class RecordedPlatform : private Outside, private LocationInput, public EnclosedPlatform {
 public:
  /// `engine` is the location engine of `device`; its regions and its input belong to this platform
  /// from now on. `state` is the device's folder of user defaults and monitored regions, `host`
  /// what the host needs to know for a replay; it must hold no password. All must outlive this
  /// object.
  RecordedPlatform(Platform& device, LocationEngine& engine, std::filesystem::path state,
                   RecordingWriter& writer, Dictionary host);
  ~RecordedPlatform() override;

  /// The host calls: the host handler runs with the same arguments, now and in a replay.
  void call(std::string name, Dictionary arguments = {});
  /// Runs what is due by now.
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

  /// Null once the end has begun.
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
