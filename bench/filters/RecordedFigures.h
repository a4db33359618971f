#pragma once

#include <vector>

#include "bench/filters/Recordings.h"
#include "bench/filters/SignalFilters.h"

namespace ks::bench {

/// How a filter and the border rule fare on recordings. Shares in percent.
struct RecordedFigures {
  /// Seconds of standing in the band of the true distance, and in that of the recording's own mean.
  double rightBand = 0;
  double meanBand = 0;
  /// A recording followed by another one of the same receiver: the share that does not reach the
  /// second one's band within 60 s, and the seconds that the others take.
  struct Moves {
    double neverArrived = 0;
    double seconds = 0;
  };
  /// From far to a nearer band, and back.
  Moves approaches;
  Moves departures;
  /// Stands of at most ten minutes with more than one change at 80% loss.
  double restless = 0;
  /// Changes in ten minutes of a stand whose mean is moved onto the 4 m border: as recorded, and
  /// with 30% loss at 2 and 5 s.
  double border = 0;
  double slowBorder = 0;
  double slowestBorder = 0;
  /// Seconds of walking in the band of the true distance.
  double walking = 0;
};

RecordedFigures measure(const FilterKind& kind, const std::vector<Recording>& standing,
                        const std::vector<Recording>& walking);

}  // namespace ks::bench
