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
  /// The wall clock; may jump when it is set.
  virtual Date now() const = 0;
  /// Seconds since an arbitrary start; never goes back.
  virtual Seconds uptime() const = 0;
};

/// A unit of work for a queue.
using Task = std::function<void()>;

/// Names a delayed task of one queue; 0 names none.
using TimerId = std::uint64_t;

/// Runs tasks one after the other in the order in which they fell due, ties in posting order.
///
/// All operations may be called from any thread. A queue destroys the tasks that it still holds
/// when it is destroyed, without running them.
class DispatchQueue {
 public:
  virtual ~DispatchQueue() = default;

  /// Runs `task` on the queue after the call has returned or while it runs, never inside it.
  virtual void async(Task task) = 0;
  /// Runs `task` on the queue and returns when it is done; at once when called on this queue. Must
  /// not be called while the queue waits for the caller.
  virtual void sync(const Task& task) = 0;
  /// As `sync`, but waits at most `limit`; false when the task had not ended by then. It runs all
  /// the same, however late, so whatever it touches must belong to it.
  virtual bool syncFor(const Task& task, Seconds limit);
  /// Runs `task` on the queue when `delay` has passed; a delay of 0 or less means now. Never
  /// returns 0.
  virtual TimerId after(Seconds delay, Task task) = 0;
  /// Drops a delayed task that has not begun to run. On the queue's own thread the task is then
  /// certain not to run. Unknown identifiers are ignored.
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

/// Hands notifications to observers by name, on the posting thread, in the order in which the
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
    /// After the call, made on the posting thread, the observer is not called again.
    void end();

   private:
    NSNotificationCenter* center_ = nullptr;
    std::uint64_t identifier_ = 0;
  };

  /// Observes `name`; with an `object`, only what that object posts.
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

/// Small values that belong to the user and survive a restart. Any thread.
class NSUserDefaults {
 public:
  virtual ~NSUserDefaults() = default;
  /// An absent value when the key was never set.
  virtual Value objectForKey(std::string_view key) const = 0;
  /// An absent value removes the key.
  virtual void setObject(std::string_view key, Value value) = 0;
  /// Makes earlier changes durable; false when they could not be written.
  virtual bool synchronize() = 0;
};

/// The per-user folders. The paths need not exist yet, apart from the temporary directory.
struct Directories {
  std::filesystem::path caches;
  std::filesystem::path documents;
  std::filesystem::path temporary;
};

/// What an application's or library's bundle says of itself.
struct NSBundle {
  /// "CFBundleIdentifier".
  std::string bundleIdentifier;
  /// "CFBundleShortVersionString"; absent where the bundle names none.
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
