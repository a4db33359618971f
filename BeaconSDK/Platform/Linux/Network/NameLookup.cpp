#include "BeaconSDK/Platform/Linux/Network/NameLookup.h"

#include <netdb.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "BeaconSDK/Platform/Common/SystemClock.h"

namespace ks {

namespace {

/// Short enough to follow a network that changes, long enough not to ask for every reading.
constexpr Seconds kFreshness{30};

}  // namespace

/// Shared with the look-up's thread, which may outlive everything else.
struct NameLookup::State {
  std::string host;
  Resolver resolver;
  std::mutex mutex;
  std::condition_variable ended;
  bool underWay = false;
  bool stale = true;
  Seconds answeredAt{0};
  std::optional<std::vector<InternetAddress>> answer;
  /// Told of the look-up's end; the last one that asked counts.
  std::function<void()> waiting;

  bool isFresh() const { return answer && !stale && monotonicUptime() - answeredAt < kFreshness; }
  /// With the lock held.
  static void begin(const std::shared_ptr<State>& state);
  static void run(const std::shared_ptr<State>& state);
};

void NameLookup::State::begin(const std::shared_ptr<State>& state) {
  if (state->underWay) return;
  state->underWay = true;
  try {
    std::thread([state] { run(state); }).detach();
  } catch (const std::system_error&) {
    // No thread to be had: the next reading tries again.
    state->underWay = false;
  }
}

void NameLookup::State::run(const std::shared_ptr<State>& state) {
  auto addresses = state->resolver(state->host);
  std::function<void()> done;
  {
    const std::lock_guard lock(state->mutex);
    state->answer = std::move(addresses);
    state->answeredAt = monotonicUptime();
    state->stale = false;
    state->underWay = false;
    done.swap(state->waiting);
    state->ended.notify_all();
  }
  if (done) done();
}

std::vector<InternetAddress> NameLookup::resolve(const std::string& host) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (::getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) return {};
  std::vector<InternetAddress> addresses;
  for (const addrinfo* each = found; each != nullptr; each = each->ai_next) {
    InternetAddress address;
    if (each->ai_addrlen > sizeof(address.storage)) continue;
    std::memcpy(&address.storage, each->ai_addr, each->ai_addrlen);
    address.length = each->ai_addrlen;
    addresses.push_back(address);
  }
  ::freeaddrinfo(found);
  return addresses;
}

NameLookup::NameLookup(std::string host, Resolver resolver) : state_(std::make_shared<State>()) {
  state_->host = std::move(host);
  state_->resolver = std::move(resolver);
}

std::optional<std::vector<InternetAddress>> NameLookup::addresses(Seconds limit) {
  std::unique_lock lock(state_->mutex);
  if (!state_->isFresh()) {
    State::begin(state_);
    state_->ended.wait_for(lock, limit, [&] { return !state_->underWay; });
  }
  return state_->answer;
}

void NameLookup::refresh(std::function<void()> done) {
  const std::lock_guard lock(state_->mutex);
  state_->stale = true;
  state_->waiting = std::move(done);
  State::begin(state_);
}

}  // namespace ks
