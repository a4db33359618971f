#pragma once

#include <boost/json/array.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/Error.h"

namespace ks::portal {

/// A query's items in their order, decoded.
class PortalQuery {
 public:
  PortalQuery() = default;
  /// Splits "a=1&b=%20".
  explicit PortalQuery(std::string_view query);

  /// The first value of `name`, or null.
  const std::string* find(std::string_view name) const;
  std::vector<std::string> all(std::string_view name) const;

 private:
  std::vector<std::pair<std::string, std::string>> items_;
};

/// What of the documents a request asks for. Each operation answers an error with a text for the
/// requester when the query is wrong.
///
/// "retrieveby=coordinate" with latitude, longitude and range in kilometres keeps what lies within
/// the range: locations by their point, geofences by their border, beacons by their location; a
/// query without items keeps all. "dc" takes the contents of the named categories out of the zones.
/// A zone with a "tags" object is kept when each of its tags equals the query's item "_TAG"; the
/// object itself is not served.
Result<boost::json::array> selectLocations(const boost::json::array& locations,
                                           const PortalQuery& query);
Result<boost::json::array> selectGeofences(const boost::json::array& geofences,
                                           const PortalQuery& query);
/// "retrieveby=location" with "location", or "retrieveby=identifiers" with "bid" items of the form
/// UUID:MAJOR:MINOR, answered in their order.
Result<boost::json::array> selectBeacons(const boost::json::array& beacons,
                                         const PortalQuery& query);
/// One zone per proximity UUID, the first near the coordinate. A UUID of which there are only zones
/// with tags is answered by its first zone without its content, so that devices learn to look for
/// the UUID.
Result<boost::json::array> selectUniqueUUIDs(const boost::json::array& beacons,
                                             const boost::json::array& locations,
                                             const PortalQuery& query);

}  // namespace ks::portal
