#include "BeaconSDK/Platform/Linux/Network/LinuxReachability.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Linux/Network/NetworkChanges.h"
#include "BeaconSDK/Platform/Linux/Network/RouteLookup.h"

namespace ks {

namespace {

/// Within the half second that callers of reachability wait.
constexpr Seconds kLookupLimit{0.4};
/// 169.254.0.0, the network of link-local addresses.
constexpr std::uint32_t kLinkLocalNetwork = 0xA9FE0000;
constexpr std::size_t kLongestName = 253;

bool canBeHost(const std::string& host) {
  return !host.empty() && host.size() <= kLongestName &&
         std::none_of(host.begin(), host.end(), [](unsigned char character) {
           return character <= ' ' || character == 0x7F || character == '/';
         });
}

}  // namespace

/// What watches share with the service and may hold longer than it lives.
class LinuxReachability::Network : public std::enable_shared_from_this<Network> {
 public:
  Network(DispatchQueue& mainQueue, const std::filesystem::path& systemNetworks)
      : mainQueue_(&mainQueue), routes_(systemNetworks) {}

  const RouteLookup& routes() const { return routes_; }
  SCNetworkReachabilityFlags flagsOfInternet() const;
  void add(const std::shared_ptr<Watch>& watch);
  /// Runs `task` on the main queue; not after the service is gone.
  void post(Task task) const;
  void close();

 private:
  void begin();
  void changed();

  mutable std::mutex mutex_;
  DispatchQueue* mainQueue_;
  RouteLookup routes_;
  NetworkChanges::Connectivity connectivity_ = NetworkChanges::Connectivity::unknown;
  std::vector<std::weak_ptr<Watch>> watches_;
  /// Of the main thread only.
  std::unique_ptr<NetworkChanges> changes_;
};

class LinuxReachability::Watch : public SCNetworkReachability,
                                 public std::enable_shared_from_this<Watch> {
 public:
  enum class Target { internet, localWiFi, address, name };

  Watch(std::shared_ptr<Network> network, Target target, const InternetAddress& address,
        std::unique_ptr<NameLookup> name)
      : network_(std::move(network)), target_(target), address_(address), name_(std::move(name)) {}

  std::optional<SCNetworkReachabilityFlags> getFlags() override { return flags(kLookupLimit); }
  bool setCallback(std::function<void(SCNetworkReachabilityFlags)> callback) override {
    callback_ = std::move(callback);
    return true;
  }
  bool schedule() override;
  void unschedule() override { scheduled_ = false; }
  /// The network has changed.
  void refresh();

 private:
  std::optional<SCNetworkReachabilityFlags> flags(Seconds limit) const;
  /// Reads the flags once they can be told without waiting and notes them, on the main queue.
  void readSoon();
  /// Reports flags that differ from those before; the first since the scheduling are no change.
  void note(SCNetworkReachabilityFlags flags);

  std::shared_ptr<Network> network_;
  Target target_;
  InternetAddress address_;
  std::unique_ptr<NameLookup> name_;
  /// Of the main thread only.
  std::function<void(SCNetworkReachabilityFlags)> callback_;
  bool scheduled_ = false;
  std::optional<SCNetworkReachabilityFlags> last_;
};

SCNetworkReachabilityFlags LinuxReachability::Network::flagsOfInternet() const {
  const SCNetworkReachabilityFlags flags = routes_.flagsToInternet();
  const std::lock_guard lock(mutex_);
  switch (connectivity_) {
    case NetworkChanges::Connectivity::none:
      return 0;
    case NetworkChanges::Connectivity::portal:
      if (flags == 0) return 0;
      return flags | kSCNetworkReachabilityFlagsConnectionRequired |
             kSCNetworkReachabilityFlagsInterventionRequired;
    default:
      return flags;
  }
}

void LinuxReachability::Network::add(const std::shared_ptr<Watch>& watch) {
  const std::lock_guard lock(mutex_);
  std::erase_if(watches_, [](const auto& other) { return other.expired(); });
  watches_.push_back(watch);
  if (mainQueue_ == nullptr || watches_.size() > 1) return;
  mainQueue_->async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->begin();
  });
}

void LinuxReachability::Network::post(Task task) const {
  const std::lock_guard lock(mutex_);
  if (mainQueue_ != nullptr) mainQueue_->async(std::move(task));
}

void LinuxReachability::Network::begin() {
  DispatchQueue* queue = nullptr;
  {
    const std::lock_guard lock(mutex_);
    queue = mainQueue_;
  }
  if (queue == nullptr || changes_) return;
  changes_ = std::make_unique<NetworkChanges>(*queue, [this] { changed(); });
  const std::lock_guard lock(mutex_);
  connectivity_ = changes_->connectivity();
}

void LinuxReachability::Network::changed() {
  std::vector<std::weak_ptr<Watch>> watches;
  {
    const std::lock_guard lock(mutex_);
    connectivity_ = changes_->connectivity();
    watches = watches_;
  }
  for (const auto& watch : watches) {
    if (const auto alive = watch.lock()) alive->refresh();
  }
}

void LinuxReachability::Network::close() {
  changes_.reset();
  const std::lock_guard lock(mutex_);
  mainQueue_ = nullptr;
  connectivity_ = NetworkChanges::Connectivity::unknown;
}

std::optional<SCNetworkReachabilityFlags> LinuxReachability::Watch::flags(Seconds limit) const {
  switch (target_) {
    case Target::internet:
      return network_->flagsOfInternet();
    case Target::localWiFi:
      return network_->routes().flagsOfLocalWiFi();
    case Target::address:
      return network_->routes().flagsTo(address_);
    case Target::name:
      break;
  }
  const auto addresses = name_->addresses(limit);
  if (!addresses) return std::nullopt;
  for (const InternetAddress& address : *addresses) {
    if (const auto flags = network_->routes().flagsTo(address); flags != 0) return flags;
  }
  return 0;
}

void LinuxReachability::Watch::readSoon() {
  const auto read = [weak = weak_from_this()] {
    const auto self = weak.lock();
    const auto flags = self ? self->flags(Seconds{0}) : std::nullopt;
    if (flags) self->note(*flags);
  };
  if (target_ != Target::name) {
    read();
    return;
  }
  name_->refresh([network = std::weak_ptr(network_), read] {
    if (const auto alive = network.lock()) alive->post(read);
  });
}

bool LinuxReachability::Watch::schedule() {
  scheduled_ = true;
  last_.reset();
  readSoon();
  return true;
}

void LinuxReachability::Watch::refresh() {
  if (scheduled_) readSoon();
}

void LinuxReachability::Watch::note(SCNetworkReachabilityFlags flags) {
  if (!scheduled_) return;
  const auto before = std::exchange(last_, flags);
  const auto callback = callback_;
  if (before && *before != flags && callback) callback(flags);
}

LinuxReachability::LinuxReachability(DispatchQueue& mainQueue,
                                     const std::filesystem::path& systemNetworks,
                                     NameLookup::Resolver resolver)
    : network_(std::make_shared<Network>(mainQueue, systemNetworks)),
      resolver_(std::move(resolver)) {}

LinuxReachability::~LinuxReachability() { network_->close(); }

ServiceState LinuxReachability::state() const {
  const SCNetworkReachabilityFlags flags = network_->flagsOfInternet();
  if ((flags & kSCNetworkReachabilityFlagsInterventionRequired) != 0) {
    return {"Network", false, "the way to the internet ends at a sign-in page",
            "open any page in a browser and sign in"};
  }
  if ((flags & kSCNetworkReachabilityFlagsReachable) != 0) {
    return {"Network", true, "a route leads to the internet", ""};
  }
  return {
      "Network", false,
      "no route leads to the internet: only a portal on this machine or its own network answers",
      "ip route add default via GATEWAY"};
}

std::shared_ptr<SCNetworkReachability> LinuxReachability::reachabilityWithName(
    const std::string& host) {
  if (!canBeHost(host)) return nullptr;
  auto watch = std::make_shared<Watch>(network_, Watch::Target::name, InternetAddress{},
                                       std::make_unique<NameLookup>(host, resolver_));
  network_->add(watch);
  return watch;
}

std::shared_ptr<SCNetworkReachability> LinuxReachability::reachabilityWithAddress(
    const SocketAddress& address) {
  constexpr std::uint8_t kInternet = 2;
  if (address.family != kInternet) return nullptr;
  const auto target = address.address == 0                   ? Watch::Target::internet
                      : address.address == kLinkLocalNetwork ? Watch::Target::localWiFi
                                                             : Watch::Target::address;
  auto watch = std::make_shared<Watch>(network_, target, internetAddress(address), nullptr);
  network_->add(watch);
  return watch;
}

}  // namespace ks
