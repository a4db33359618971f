#pragma once

#include <functional>
#include <string>
#include <vector>

namespace ks::gate {

/// One measured number and the most that it may be.
struct Figure {
  std::string what;
  double value = 0;
  double limit = 0;
  /// The same number of the simple rules that the engine is compared with; may be empty.
  std::vector<double> others{};
  /// Written so that NaN fails.
  bool passes() const { return value <= limit; }
};

/// A situation and how to measure it. Deterministic: the same figures on every machine, except for
/// times of the processor, whose limits are far away.
struct Row {
  std::string name;
  std::function<std::vector<Figure>()> measure;
};

/// Standing beside beacons, and leaving them: notifications and exits.
std::vector<Row> presenceRows();
/// Standing on a border and arriving: proximities.
std::vector<Row> borderRows();
/// Recordings with the truth beside them.
std::vector<Row> recordedRows();
/// Resting, driving and walking beside a circle, from fixes to region events.
std::vector<Row> positionRows();
/// What hearing and ranging many beacons takes of memory and processor.
std::vector<Row> costRows();

}  // namespace ks::gate
