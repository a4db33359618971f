#include "tools/ksbeacon/Scenario.h"

namespace ks::tool {

const std::vector<std::string>& refusalNames() {
  static const std::vector<std::string> kNames = {
      "proximity", "eventCounter", "repeatDelay", "onceOnly", "category", "dwelling", "otherEvent"};
  return kNames;
}

}  // namespace ks::tool
