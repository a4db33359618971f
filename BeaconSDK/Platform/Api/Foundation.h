#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Object.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// The only source of time. Any thread.
class Clock {
 public:
  virtual ~Clock() = default;
  /// Returns the wall-clock time; may jump when the clock is set.
  virtual Date now() const = 0;
  /// Returns the seconds since an arbitrary start; never decreases.
  virtual Seconds uptime() const = 0;
};

/// A clock that also measures the time spent asleep. Not every device has one. Any thread.
class ContinuousClock : public Clock {
 public:
  /// As `uptime`, but also counts while the device sleeps.
  virtual Seconds continuousUptime() const = 0;
  /// Identifies the device's boot: changes with each one; empty if not known.
  virtual std::string bootIdentifier() const = 0;
};

/// A unit of work for a queue.
using Task = std::function<void()>;

/// Identifies a delayed task of one queue; 0 identifies none.
using TimerId = std::uint64_t;

/// Runs tasks one at a time in the order in which they fall due, ties in posting order.
///
/// All operations may be called from any thread. On destruction, pending tasks are destroyed
/// without being run.
class DispatchQueue {
 public:
  virtual ~DispatchQueue() = default;

  /// Runs `task` on the queue asynchronously, never inside this call.
  virtual void async(Task task) = 0;
  /// Runs `task` on the queue and waits for it; in place when called on this queue. Deadlocks if
  /// the queue waits for the caller.
  virtual void sync(const Task& task) = 0;
  /// As `sync`, but waits at most `limit`; returns false on timeout. The task still runs later, so
  /// it must own everything that it uses.
  virtual bool syncFor(const Task& task, Seconds limit);
  /// Runs `task` on the queue after `delay`; 0 or less means now. Never returns 0.
  virtual TimerId after(Seconds delay, Task task) = 0;
  /// Cancels a delayed task that has not started. When called on the queue's own thread, the task
  /// is certain not to run. Ignores unknown identifiers.
  virtual void cancel(TimerId timer) = 0;
  /// True while the calling thread runs a task of this queue.
  virtual bool isCurrent() const = 0;
};

/// A message to the observers of its name.
struct NSNotification {
  std::string name;
  /// The sender; may be null.
  std::shared_ptr<const Object> object;
  Dictionary userInfo;
};

/// Delivers notifications to observers by name, on the posting thread, in the order in which the
/// observers were added. Any thread; observers may be added and removed while a notification is
/// delivered.
class NSNotificationCenter {
 public:
  using Observer = std::function<void(const NSNotification&)>;

  /// Ends one observation when destroyed. Must not outlive the centre.
  class Observation {
   public:
    Observation() = default;
    Observation(NSNotificationCenter& center, std::uint64_t identifier)
        : center_(&center), identifier_(identifier) {}
    Observation(Observation&& other) noexcept { *this = std::move(other); }
    Observation& operator=(Observation&& other) noexcept;
    ~Observation() { end(); }
    /// When called on the posting thread, the observer is not called again.
    void end();

   private:
    NSNotificationCenter* center_ = nullptr;
    std::uint64_t identifier_ = 0;
  };

  /// Calls `observer` for each notification `name`; with an `object`, only for those that it posts.
  [[nodiscard]] Observation addObserver(std::string name, Observer observer,
                                        std::shared_ptr<const Object> object = nullptr);
  void post(const NSNotification& notification) const;

 private:
  struct Entry {
    std::uint64_t identifier;
    std::string name;
    std::weak_ptr<const Object> object;
    bool anyObject;
    std::shared_ptr<const Observer> observer;
  };
  void remove(std::uint64_t identifier);
  bool isObserving(std::uint64_t identifier) const;

  mutable std::mutex mutex_;
  std::uint64_t nextIdentifier_ = 1;
  std::vector<Entry> entries_;
};

/// Small values of the user that survive a restart. Any thread.
class NSUserDefaults {
 public:
  virtual ~NSUserDefaults() = default;
  /// Returns an absent value when the key was never set.
  virtual Value objectForKey(std::string_view key) const = 0;
  /// An absent value removes the key.
  virtual void setObject(std::string_view key, Value value) = 0;
  /// Writes earlier changes durably; false when they could not be written.
  virtual bool synchronize() = 0;
};

/// The per-user folders. Only the temporary directory must exist.
struct Directories {
  std::filesystem::path caches;
  std::filesystem::path documents;
  std::filesystem::path temporary;
};

/// Identity of an application's or library's bundle.
struct NSBundle {
  /// "CFBundleIdentifier".
  std::string bundleIdentifier;
  /// "CFBundleShortVersionString"; may be absent.
  std::optional<std::string> shortVersionString;
};

/// Language and region settings. Codes as in "it" and "IT"; absent when the user chose none.
struct NSLocale {
  std::optional<std::string> languageCode;
  std::optional<std::string> countryCode;

  /// "it_IT", "it", or "" without a language.
  std::string localeIdentifier() const;
};

/// The system log. Any thread.
class Console {
 public:
  virtual ~Console() = default;
  /// Writes one message; the console adds its own prefix and line end.
  virtual void log(std::string_view message) = 0;
};

}  // namespace ks
