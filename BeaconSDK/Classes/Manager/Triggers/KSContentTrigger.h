#pragma once

#include <memory>

#include "BeaconSDK/Classes/Manager/Common/KSObserverSlot.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSContentDelivery.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingZones.h"

/// Decides about events that may fire a zone's content: evaluates the content's rules, waits for
/// its dwelling time, and reports the outcome to the observer. The rules are evaluated once per
/// event, with one reading of the clock: that verdict decides, is traced and is reported.
class KSContentTrigger {
 public:
  KSContentTrigger(KSContentDelivery& delivery, KSDwellingZones& dwelling,
                   const KSSettingsManager& settingsManager, const KSObserverSlot& observer,
                   const ks::Clock& clock)
      : delivery_(delivery),
        dwelling_(dwelling),
        settingsManager_(settingsManager),
        observer_(observer),
        clock_(clock) {}

  /// True when the zone's category is enabled. A refusal is reported to the observer as the end of
  /// the event.
  bool categoryEnabled(const std::shared_ptr<KSProximityZone>& zone, bool isEnter) const;
  /// A content without dwelling time fires for both kinds of event; one with a dwelling time only
  /// for its own kind.
  void checkForContentTrigger(const std::shared_ptr<KSProximityZone>& zone, bool isEnter);
  /// Reports to the observer alone that an entry needs another proximity than the beacon's.
  void tellOtherProximity(const std::shared_ptr<KSProximityZone>& zone) const;
  /// The device left the zone: ends its dwelling time.
  void endDwelling(const KSProximityZone& zone) { dwelling_.leave(zone); }

 private:
  using Outcome = ks::TriggerDecision::Outcome;

  void checkDwelling(ks::TriggerDecision decision, const std::shared_ptr<KSProximityZone>& zone,
                     ks::Date now);
  void tell(ks::TriggerDecision decision, Outcome outcome) const;

  KSContentDelivery& delivery_;
  KSDwellingZones& dwelling_;
  const KSSettingsManager& settingsManager_;
  const KSObserverSlot& observer_;
  const ks::Clock& clock_;
};
