#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "BeaconSDK/Classes/Network/KSContentDownload.h"
#include "BeaconSDK/Classes/Network/PortalItem.h"
#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Error.h"

class KSProximityZoneContent;

namespace ks {
class NSDateFormatter;
}

/// Converts the portal's JSON documents to records. One thread at a time.
///
/// A document is an array of objects, one for each record. Conversion reads from the cleaned-up
/// form of each object, in which nulls are absent and every number has become its decimal text:
/// - a member that is missing, or a list or an object in a text's place, leaves the field empty;
/// - text in a number's place is read as far as it is a number and is 0 when it does not start with
///   one;
/// - a number beyond the range of its field (32-bit integer, float or double) becomes the nearest
///   end of that range, so no record ever holds an infinite number.
/// For unusual JSON see `ks::NSJSONSerialization`.
class KSResponseParser {
 public:
  /// How the portal writes `validUntil`: in UTC.
  static constexpr const char* kValidUntilFormat = "yyyy-MM-dd'T'HH:mm:ss.SSSSSSS'Z'";

  /// The list that `Converter` makes: it turns one cleaned-up object into a record, never null.
  template <class Converter>
  using Records = std::vector<std::invoke_result_t<const Converter&, const ks::PortalObject&>>;

  KSResponseParser();
  ~KSResponseParser();

  /// Parses a whole document. A document that is not JSON, whose top level is no array, or of which
  /// one element is no object, is rejected as a whole with an error in the application's domain.
  ///
  /// While `enableLogging` is on, the document and each element go to the system log, which costs
  /// much more than reading it. Elements become records as they are read, so that no tree of the
  /// whole document is made.
  template <class Converter>
  static ks::Result<Records<Converter>> records(std::string_view document,
                                                const Converter& converter) {
    Records<Converter> records;
    const auto error = forEachItem(
        document, [&](const ks::PortalObject& item) { records.push_back(converter(item)); });
    if (error) return *error;
    return records;
  }

  /// A copy without null members and with every number replaced by its decimal text, also in nested
  /// objects and in objects directly inside arrays; numbers, nulls and arrays inside arrays stay.
  /// true and false are the numbers 1 and 0.
  static ks::Dictionary sanitizeDictionary(const ks::Dictionary& dictionary);

  /// "HTML", "VIDEO", "PUSH_TEXT" and "FOLLOW_TRACK", case-sensitive; null for any other text.
  static std::shared_ptr<KSProximityZoneContent> contentFromType(std::string_view type);

  /// "IMMEDIATE" 1, "NEAR" 2, "FAR" 3, case-sensitive; 0 for any other text.
  static std::int64_t proximityFromString(std::string_view text);

  static std::shared_ptr<KSProximityZoneContentCategory> convertToCategory(
      const ks::PortalObject& item);
  static std::shared_ptr<KSLocation> convertToLocation(const ks::PortalObject& item);
  /// Never null. The zone's state says whether the item has a "content" member at all, also one
  /// that yields no content.
  std::shared_ptr<KSPrivateBeacon> convertToPrivateBeacon(const ks::PortalObject& item) const;
  /// A geofence without an "id" has no region to monitor.
  std::shared_ptr<KSGeofence> convertToGeofence(const ks::PortalObject& item) const;

 private:
  static std::optional<ks::Error> forEachItem(
      std::string_view document, const std::function<void(const ks::PortalObject& item)>& take);

  /// For "validUntil": seven fraction digits, a literal Z, UTC. Any other form is no date.
  std::unique_ptr<ks::NSDateFormatter> dateFormatter_;
};
