#include "BeaconSDK/Platform/Api/Foundation.h"

#include <algorithm>
#include <condition_variable>
#include <utility>

namespace ks {

bool DispatchQueue::syncFor(const Task& task, Seconds limit) {
  if (isCurrent()) {
    task();
    return true;
  }
  /// Shared with the task, which may end when the caller has long gone on.
  struct End {
    std::mutex mutex;
    std::condition_variable came;
    bool hasCome = false;
  };
  const auto end = std::make_shared<End>();
  async([task, end] {
    task();
    const std::lock_guard lock(end->mutex);
    end->hasCome = true;
    end->came.notify_all();
  });
  std::unique_lock lock(end->mutex);
  return end->came.wait_for(lock, limit, [&] { return end->hasCome; });
}

NSNotificationCenter::Observation& NSNotificationCenter::Observation::operator=(
    Observation&& other) noexcept {
  if (this != &other) {
    end();
    center_ = std::exchange(other.center_, nullptr);
    identifier_ = std::exchange(other.identifier_, 0);
  }
  return *this;
}

void NSNotificationCenter::Observation::end() {
  if (center_ != nullptr) std::exchange(center_, nullptr)->remove(identifier_);
}

NSNotificationCenter::Observation NSNotificationCenter::addObserver(
    std::string name, Observer observer, std::shared_ptr<const Object> object) {
  const std::lock_guard lock(mutex_);
  const auto identifier = nextIdentifier_++;
  entries_.push_back({identifier, std::move(name), object, object == nullptr,
                      std::make_shared<const Observer>(std::move(observer))});
  return {*this, identifier};
}

void NSNotificationCenter::post(const NSNotification& notification) const {
  std::vector<std::pair<std::uint64_t, std::shared_ptr<const Observer>>> observers;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& entry : entries_) {
      if (entry.name != notification.name) continue;
      if (!entry.anyObject && entry.object.lock() != notification.object) continue;
      observers.emplace_back(entry.identifier, entry.observer);
    }
  }
  for (const auto& [identifier, observer] : observers) {
    if (isObserving(identifier)) (*observer)(notification);
  }
}

void NSNotificationCenter::remove(std::uint64_t identifier) {
  const std::lock_guard lock(mutex_);
  std::erase_if(entries_, [&](const Entry& entry) { return entry.identifier == identifier; });
}

bool NSNotificationCenter::isObserving(std::uint64_t identifier) const {
  const std::lock_guard lock(mutex_);
  return std::any_of(entries_.begin(), entries_.end(),
                     [&](const Entry& entry) { return entry.identifier == identifier; });
}

std::string NSLocale::localeIdentifier() const {
  if (!languageCode) return "";
  return countryCode ? *languageCode + "_" + *countryCode : *languageCode;
}

}  // namespace ks
