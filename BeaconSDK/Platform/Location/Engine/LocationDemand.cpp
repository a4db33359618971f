#include "BeaconSDK/Platform/Location/Engine/LocationDemand.h"

#include <cstdio>

namespace ks {

std::string tooSmallText(const CLCircularRegion& circle, Metres uncertainty) {
  char sizes[96];
  std::snprintf(sizes, sizeof sizes,
                " of %.0f m is smaller than the uncertainty of positions there, %.0f m",
                circle.radius().value, uncertainty.value);
  return "The circle '" + circle.identifier() + "'" + sizes + ": it cannot be entered";
}

}  // namespace ks
