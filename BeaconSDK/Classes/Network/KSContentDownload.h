#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "BeaconSDK/Classes/Network/KSContentDownloadType.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Object.h"
#include "BeaconSDK/Platform/Api/Value.h"

/// Records of one class, in the portal's order; none of them null.
using KSRecords = std::vector<std::shared_ptr<ks::Object>>;

/// Receives the outcome of one download: a success without an error, or a failure with only the
/// kind and the error. Called on the URL session's delegate queue.
///
/// The metadata of beacon zones and geofences holds "locationIdentifier", one blank when the
/// location is not known; that of the other kinds is empty. When a document of these two kinds
/// cannot be read, the failure is followed by a success without a result.
using KSContentCompletionBlock = std::function<void(
    KSContentDownloadType type, const std::optional<KSRecords>& result,
    const std::optional<ks::Dictionary>& metaData, const std::optional<ks::Error>& error)>;

namespace ks {

/// Those of `records` that are a `T`, in their order.
template <class T>
std::vector<std::shared_ptr<T>> recordsOf(const KSRecords& records) {
  std::vector<std::shared_ptr<T>> found;
  found.reserve(records.size());
  for (const auto& record : records) {
    if (auto one = std::dynamic_pointer_cast<T>(record)) found.push_back(std::move(one));
  }
  return found;
}

}  // namespace ks
