#include "tools/ksbeacon/portal/PortalFaults.h"

#include <algorithm>
#include <utility>

namespace ks::portal {

PortalFaults::PortalFaults(std::vector<Fault> faults) : faults_(faults.begin(), faults.end()) {}

void PortalFaults::add(Fault fault) {
  std::lock_guard lock(mutex_);
  faults_.push_back(std::move(fault));
}

void PortalFaults::clear() {
  std::lock_guard lock(mutex_);
  faults_.clear();
}

std::vector<Fault> PortalFaults::all() const {
  std::lock_guard lock(mutex_);
  return {faults_.begin(), faults_.end()};
}

std::optional<Fault> PortalFaults::take(std::string_view path) {
  std::lock_guard lock(mutex_);
  const auto found = std::find_if(faults_.begin(), faults_.end(),
                                  [&](const Fault& fault) { return path.starts_with(fault.path); });
  if (found == faults_.end()) return std::nullopt;
  const Fault fault = *found;
  if (found->count > 0 && --found->count == 0) faults_.erase(found);
  return fault;
}

}  // namespace ks::portal
