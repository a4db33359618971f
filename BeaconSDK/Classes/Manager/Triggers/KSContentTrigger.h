#pragma once

#include <memory>

#include "BeaconSDK/Classes/Manager/Common/KSObserverSlot.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSContentDelivery.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingZones.h"

/// Decides about events that could fire a zone's content: asks the content's rules, waits out its
/// dwelling time, and tells the observer what came of it. The rules are evaluated once an event,
/// with one reading of the clock: that verdict decides, is traced and is told.
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

  /// Whether the user wants contents of the zone's category. A refusal is told to the observer as
  /// the end of the event.
  bool categoryEnabled(const std::shared_ptr<KSProximityZone>& zone, bool isEnter) const;
  /// A content without dwelling time fires whatever the kind of the event; one with a dwelling time
  /// only for the kind that it waits for.
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
