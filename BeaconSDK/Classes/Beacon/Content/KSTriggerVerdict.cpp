#include "BeaconSDK/Classes/Beacon/Content/KSTriggerVerdict.h"

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"

bool KSTriggerVerdict::canTrigger() const {
  return rule == Rule::notBlocked || rule == Rule::noRepeatDelay || rule == Rule::repeatDelayOver;
}

std::optional<std::string> KSTriggerVerdict::logText() const {
  switch (rule) {
    case Rule::otherProximity:
      return "Can't trigger, different proximity zones";
    case Rule::tooFewEvents:
      return ks::stringWithFormat(
          "Can't trigger, event detection counter = %d, should trigger after %d", eventCount,
          neededEventCount);
    case Rule::repeatDelayOver:
      return "Can trigger";
    case Rule::repeatDelayRunning:
      return ks::stringWithFormat("Can't trigger, repeatDelay %f and interval %f", repeatDelay,
                                  secondsLeft);
    case Rule::onceOnly:
      return "Can only trigger once, triggered already before";
    case Rule::notBlocked:
    case Rule::noRepeatDelay:
      break;
  }
  return std::nullopt;
}
