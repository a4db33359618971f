#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/Alarm.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiver.h"
#include "BeaconSDK/Classes/Manager/Common/KSObserverSlot.h"
#include "BeaconSDK/Platform/Api/Platform.h"

/// One archive of the cache folder "KSProximityManager", and when it is written.
///
/// All changes of one turn of the main queue are one write, and nothing is written when the archive
/// would not change. A file of many records is encoded a slice per turn and written on the global
/// queue, at most once a second. A failed write is reported to the observer and otherwise ignored:
/// the engine continues with its data in memory. Main queue only.
class KSCacheFile {
 public:
  /// How soon a change reaches the disk.
  enum class Haste {
    /// When this turn of the main queue has ended, before any later task.
    nextTurn,
    /// In slices, beside the engine's work.
    background,
  };
  /// The root of the archive as it is now.
  using Source = std::function<ks::Value()>;
  /// Merges the file's content into the present data; absent when the file holds nothing.
  using Restore = std::function<void(const ks::Value& root)>;

  KSCacheFile(std::string name, Haste haste, ks::Platform& platform, const KSObserverSlot& observer,
              Source source, Restore restore);
  KSCacheFile(const KSCacheFile&) = delete;
  KSCacheFile& operator=(const KSCacheFile&) = delete;
  /// Writes pending changes.
  ~KSCacheFile();

  /// Creates the folder with its parents; false when that fails.
  static bool createFolder();

  /// Reads the file and restores it. One that cannot be read now is read and restored before it is
  /// first written over.
  void load();
  /// Reads and restores what could not be read before; false when it still cannot be read.
  bool restored();
  /// Discards a file that was not read yet: the caller starts with empty data.
  void forgetUnread() { isUnread_ = false; }
  void saveSoon();
  /// Writes nothing from now on, not even pending changes.
  void discard();

 private:
  /// Shared with the write on the global queue, which may outlive the file's owner.
  struct Writing {
    std::mutex mutex;
    bool isCancelled = false;
    bool isDone = false;
    std::optional<std::size_t> lastHash;
  };

  void begin();
  void encodeSlice();
  std::size_t recordCount() const;
  void startWriting();
  void ended(std::optional<bool> success);
  void saveNow();
  std::filesystem::path path() const;
  /// False when it failed; nothing when the file is as it should be.
  static std::optional<bool> write(ks::NSKeyedArchiver& archiver, const std::filesystem::path& path,
                                   Writing& writing);

  const std::string name_;
  const Haste haste_;
  ks::Platform& platform_;
  const KSObserverSlot& observer_;
  const Source source_;
  const Restore restore_;
  bool isUnread_ = false;
  bool isDirty_ = false;
  bool isDiscarded_ = false;
  ks::Alarm alarm_;
  std::optional<ks::Seconds> lastWrite_;
  /// While the file is being encoded or written: its root, its arrays of records and what became of
  /// them.
  std::shared_ptr<ks::NSKeyedArchiver> archiver_;
  ks::Value root_;
  std::vector<ks::Value> arrays_;
  struct Place {
    std::size_t array = 0;
    std::size_t record = 0;
  };
  /// Of the record, or else of the whole array, that is encoded next.
  Place next_;
  std::shared_ptr<Writing> writing_ = std::make_shared<Writing>();
};
