#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Recorded/EnclosedPlatform.h"
#include "BeaconSDK/Platform/Recorded/RecordingCodec.h"
#include "BeaconSDK/Platform/Recorded/RecordingFile.h"
#include "BeaconSDK/Platform/Storage/TemporaryFolder.h"

namespace ks {

/// Reads a recording entry by entry. One thread.
class RecordingReader {
 public:
  static Result<RecordingReader> open(const std::filesystem::path& path);
  explicit RecordingReader(RecordingFileReader file) : file_(std::move(file)) {}

  /// Reads the next entry into `event`; false at the end.
  bool next(RecordedEvent& event);
  /// True if the recording was closed; otherwise its last block may be lost. Call it after the end.
  bool isWhole() const { return file_.isWhole() && decoder_.isSound(); }

 private:
  RecordingFileReader file_;
  RecordingDecoder decoder_;
};

/// A device that replays one process of a recording. No request leaves it: replies come from the
/// recording, and its files are in a folder of its own.
///
/// One thread. The owner drives it: pass all entries in their order to `replay`.
class ReplayedPlatform : private Outside, public EnclosedPlatform {
 public:
  /// `begin` is the entry of that kind. Throws `std::runtime_error` when its files cannot be
  /// written.
  explicit ReplayedPlatform(const RecordedEvent& begin);
  ~ReplayedPlatform() override;

  /// Data that the recording host stored for a replay.
  const Dictionary& host() const { return host_; }
  bool isPrivate() const { return isPrivate_; }

  /// Adds the answer to a later question of the library.
  void addAnswer(const RecordedEvent& event) { answers_.push_back(event.details); }
  /// Replays an input. Add all answers up to the next input first.
  void replay(const RecordedEvent& event);
  /// Runs all tasks due until then.
  void runUntil(std::int64_t microseconds) { passTime(microseconds); }
  /// From now on questions get default answers, for replays with replies of another portal: no
  /// departure is reported any more.
  void setIndependent() { isIndependent_ = true; }

  /// Why the library's behaviour departs from the recording; empty while it does not.
  const std::string& departure() const { return departure_; }

 private:
  struct Silence : Console {
    void log(std::string_view) override {}
  };
  /// Created before the platform, which reads the files.
  struct Place {
    explicit Place(const RecordedEvent& begin);
    TemporaryFolder folder;
    Silence console;
  };

  ReplayedPlatform(const RecordedEvent& begin, std::unique_ptr<Place> place);

  Platform* realDevice() override { return nullptr; }
  Value answer(std::string_view question, const std::function<Value()>& ask) override;
  void enter(RecordedEvent) override {}
  void demandChanged(const LocationDemand&) override {}
  void departed(const std::string& how) override;

  std::unique_ptr<Place> place_;
  Dictionary host_;
  bool isPrivate_ = false;
  bool isIndependent_ = false;
  bool isEnding_ = false;
  std::deque<Dictionary> answers_;
  std::string departure_;
};

}  // namespace ks
