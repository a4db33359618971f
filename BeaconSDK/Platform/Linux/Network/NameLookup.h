#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Linux/Network/RouteLookup.h"

namespace ks {

/// The addresses of one host, looked up in a thread of its own, since the system's look-up blocks
/// for as long as it likes. Any thread.
class NameLookup {
 public:
  /// Looks a name up, blocking: no addresses when there is no such name. Replaced by tests.
  using Resolver = std::function<std::vector<InternetAddress>(const std::string& host)>;
  static std::vector<InternetAddress> resolve(const std::string& host);

  NameLookup(std::string host, Resolver resolver);

  /// The addresses, waited for no longer than `limit`: fresh ones, else those that the look-up
  /// before gave; nothing when none has ended yet. At most one look-up is under way: a slow one
  /// answers a later call.
  std::optional<std::vector<InternetAddress>> addresses(Seconds limit);
  /// Looks up anew; `done` is called in the look-up's thread when it has ended, unless another
  /// call came meanwhile.
  void refresh(std::function<void()> done);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace ks
