#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"

namespace ks {

/// The user's secret store (org.freedesktop.secrets on the session bus), which a desktop's keyring
/// offers. It is started when it is needed. Main thread only.
namespace SecretStore {

struct Answer {
  std::optional<std::string> secret;
  /// Why there is none: one sentence.
  std::string problem;
};

/// The first secret that has these attributes. A locked store asks its user to open it. Runs the
/// default main context until there is an answer, for `limit` at most.
Answer lookUp(const std::vector<std::pair<std::string, std::string>>& attributes, Seconds limit);

/// Whether there is a store to ask. Runs the default main context for half a second at most.
ServiceState state();

}  // namespace SecretStore

}  // namespace ks
