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

/// A recording entry by entry. One thread.
class RecordingReader {
 public:
  static Result<RecordingReader> open(const std::filesystem::path& path);
  explicit RecordingReader(RecordingFileReader file) : file_(std::move(file)) {}

  /// Reads the next entry into `event`; false at the end.
  bool next(RecordedEvent& event);
  /// After the end: whether the recording was closed. Otherwise its last block may be lost.
  bool isWhole() const { return file_.isWhole() && decoder_.isSound(); }

 private:
  RecordingFileReader file_;
  RecordingDecoder decoder_;
};

/// A device that lives through one process of a recording again. Nothing of what the library does
/// leaves it: requests are answered from the recording, its files lie in a folder of its own.
///
/// One thread. The steps are the owner's: give all entries in their order to `replay`.
class ReplayedPlatform : private Outside, public EnclosedPlatform {
 public:
  /// `begin` is the entry of that kind. Throws `std::runtime_error` when its files cannot be
  /// written.
  explicit ReplayedPlatform(const RecordedEvent& begin);
  ~ReplayedPlatform() override;

  /// What the host that made the recording noted of itself.
  const Dictionary& host() const { return host_; }
  bool isPrivate() const { return isPrivate_; }

  /// Keeps what the library is going to ask for.
  void addAnswer(const RecordedEvent& event) { answers_.push_back(event.details); }
  /// Lives through an input, after all answers up to the next input were added.
  void replay(const RecordedEvent& event);
  /// Runs what falls due until then.
  void runUntil(std::int64_t microseconds) { passTime(microseconds); }
  /// From now on questions are answered by what is usual, as replies of the portal come from
  /// elsewhere: nothing departs any more.
  void setIndependent() { isIndependent_ = true; }

  /// Why the library cannot have done the same; empty while it has.
  const std::string& departure() const { return departure_; }

 private:
  struct Silence : Console {
    void log(std::string_view) override {}
  };
  /// Before the platform, which reads the files.
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
