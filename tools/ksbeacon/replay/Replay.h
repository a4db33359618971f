#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Classes/Settings/Refinements.h"
#include "BeaconSDK/Platform/Api/Date.h"
#include "tools/ksbeacon/timeline/Timeline.h"

namespace ks::tool {

struct ReplayOptions {
  /// Ends when the timeline comes to this moment. Empty: at the recording's end.
  std::optional<Seconds> until;
  /// Each ranging result with all its beacons; otherwise only changes.
  bool everyRanging = false;
  /// Asks a portal with the documents of this folder instead of the recording's. Empty: no.
  std::filesystem::path documents;
  /// Instead of the recording's.
  std::optional<Refinements> refinements;
  /// Asked now and then; true ends the replay there. Empty: never.
  std::function<bool()> isInterrupted;

  /// The same day under other rules is not held against the recording.
  bool hasOtherRules() const { return !documents.empty() || refinements.has_value(); }
};

/// How a replay came out.
struct ReplayResult {
  /// Why it could not be done at all; empty when it was.
  std::string failure;
  /// Where it departed from the recording and how, for a person; empty when it did not.
  std::string departure;
  bool interrupted = false;
  /// False when the recording's last block was torn: it was replayed as far as it goes.
  bool isWhole = true;
  /// The moment from which the timeline's events count.
  Date start;
  /// The timeline's moment of the recording's end.
  Seconds end{0};
};

/// Told the start of the timeline before its first event.
using ReplayBeginning = std::function<void(Date start)>;

/// Lives through a recording again, adding each thing that happens to the timeline, and checks that
/// it is what happened then. Occupies the process's platform meanwhile.
ReplayResult replay(const std::filesystem::path& recording, const ReplayOptions& options,
                    Timeline& timeline, const ReplayBeginning& begins = {});

}  // namespace ks::tool
