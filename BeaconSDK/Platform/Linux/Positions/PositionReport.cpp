#include "BeaconSDK/Platform/Linux/Positions/PositionReport.h"

#include <algorithm>
#include <cmath>

namespace ks {

std::optional<PositionReport> positionReport(double latitude, double longitude,
                                             double uncertainty) {
  // Written so that NaN fails.
  if (!(std::abs(latitude) <= 90 && std::abs(longitude) <= 180)) return std::nullopt;
  if (std::isinf(uncertainty)) return std::nullopt;
  const double believed = uncertainty > kLeastUncertainty ? uncertainty : kLeastUncertainty;
  return PositionReport{{latitude, longitude}, Metres{believed}, Seconds{0}};
}

}  // namespace ks
