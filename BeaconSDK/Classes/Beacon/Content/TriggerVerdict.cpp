#include "BeaconSDK/Classes/Beacon/Content/TriggerVerdict.h"

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"

namespace ks {

namespace {

constexpr LogSource kLog{"BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent"};

}  // namespace

bool TriggerVerdict::canTrigger() const {
  return rule == Rule::notBlocked || rule == Rule::noRepeatDelay || rule == Rule::repeatDelayOver;
}

void TriggerVerdict::trace() const {
  if (!enableLogging.load(std::memory_order_relaxed)) return;
  const auto write = [this](Rule answer) {
    const char* const function = answer == Rule::otherProximity
                                     ? "-[KSProximityZoneContent canTriggerAction:]"
                                     : "-[KSProximityZoneContent canTriggerAction]";
    if (const auto text = logText(answer)) kLog(function, "%@", *text);
  };
  write(rule);
  if (secondLook) write(*secondLook);
}

std::optional<std::string> TriggerVerdict::logText(Rule answer) const {
  switch (answer) {
    case Rule::otherProximity:
      return "Can't trigger, different proximity zones";
    case Rule::tooFewEvents:
      return stringWithFormat(
          "Can't trigger, event detection counter = %d, should trigger after %d", eventCount,
          neededEventCount);
    case Rule::repeatDelayOver:
      return "Can trigger";
    case Rule::repeatDelayRunning:
      return stringWithFormat("Can't trigger, repeatDelay %f and interval %f", repeatDelay,
                              secondsLeft);
    case Rule::onceOnly:
      return "Can only trigger once, triggered already before";
    case Rule::notBlocked:
    case Rule::noRepeatDelay:
      break;
  }
  return std::nullopt;
}

}  // namespace ks
