#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

#include "BeaconSDK/Classes/Network/KSContentDownloadType.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Value.h"

class KSGeofence;
class KSLocation;
class KSPrivateBeacon;
class KSProximityZoneContentCategory;

namespace ks {

/// Records of one class, in the portal's order; none of them null.
template <class T>
using RecordList = std::vector<std::shared_ptr<T>>;

/// The records of one download.
using Records = std::variant<RecordList<KSProximityZoneContentCategory>, RecordList<KSLocation>,
                             RecordList<KSPrivateBeacon>, RecordList<KSGeofence>>;

/// Called with the result of one download: on success without an error, on failure with only the
/// kind and the error. Called on the URL session's delegate queue.
///
/// The metadata of beacon zones and geofences holds "locationIdentifier", a single blank if the
/// location is not known; that of the other kinds is empty. If a document of these two kinds cannot
/// be read, a success without a result follows the failure.
using ContentCompletionBlock = std::function<void(
    KSContentDownloadType type, const std::optional<Records>& result,
    const std::optional<Dictionary>& metaData, const std::optional<Error>& error)>;

/// Returns `records` when they are of class `T`, an empty list when they are of another.
template <class T>
RecordList<T> recordsOf(const Records& records) {
  const auto* const list = std::get_if<RecordList<T>>(&records);
  return list == nullptr ? RecordList<T>{} : *list;
}

}  // namespace ks
