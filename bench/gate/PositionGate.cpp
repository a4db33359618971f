// Measures from end to end which circles the location engine finds a device in, fixes in and region
// events out, prints the table of docs/location.md and fails when a figure is above its limit.

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "bench/gate/PositionScenes.h"

namespace {

using namespace ks;
using namespace ks::gate;

constexpr Metres kAccuracy{20};

/// A situation, how to measure it, and the most that the engine's figure may be, given the naive
/// rule's.
struct Row {
  std::string name;
  std::int64_t pause;
  std::function<PositionFigures()> measure;
  std::function<double(double naive)> limit;
};

/// One spike in a hundred fixes, one repeat in ten, and errors that last for some time.
SimulatedPositionErrors unkind(Seconds memory) {
  auto errors = honestErrors(kAccuracy);
  errors.memory = memory;
  errors.spikeProbability = 0.01;
  errors.repeatProbability = 0.1;
  return errors;
}

/// Crossings of a device that rests: below a tenth of the naive rule's.
Row restRow(const std::string& where, double fromCentre, std::int64_t pause, Seconds memory) {
  const Rest rest{fromCentre, pause, kAccuracy, unkind(memory)};
  return {"crossings in a day at rest " + where, pause, [=] { return crossingsPerDay(rest); },
          [](double naive) { return naive / 10; }};
}

/// Visits in a vehicle: missed at most as often as by the naive rule.
Row driveRow(double speed, double fromCentre, std::int64_t pause) {
  const DriveBy drive{speed, pause, fromCentre, kAccuracy, honestErrors(kAccuracy)};
  return {"share of visits missed at " + std::to_string(static_cast<int>(speed)) + " km/h, " +
              std::to_string(static_cast<int>(fromCentre)) + " m from the centre",
          pause, [=] { return missedShare(drive); }, [](double naive) { return naive; }};
}

Row visitRow(std::int64_t pause, Metres accuracy, double limit) {
  const Visit visit{pause, accuracy, honestErrors(accuracy)};
  return {"seconds until a walker's crossing is told, " +
              std::to_string(static_cast<int>(accuracy.value)) + " m",
          pause, [=] { return crossingDelay(visit); }, [=](double) { return limit; }};
}

std::vector<Row> allRows() {
  std::vector<Row> rows;
  for (const std::int64_t pause : {1, 10, 60}) {
    rows.push_back(restRow("in the centre", 0, pause, Seconds{0}));
  }
  rows.push_back(restRow("60 m from the centre", 60, 10, Seconds{60}));
  rows.push_back(restRow("on the border", 100, 10, Seconds{60}));
  for (const double fromCentre : {0, 50, 80}) {
    for (const std::int64_t pause : {1, 10, 30}) rows.push_back(driveRow(50, fromCentre, pause));
  }
  rows.push_back(driveRow(130, 50, 10));
  rows.push_back(visitRow(1, {5}, 6));
  rows.push_back(visitRow(10, {5}, 7));
  rows.push_back(visitRow(1, {20}, 26));
  return rows;
}

}  // namespace

int main() {
  int failed = 0;
  std::printf("| situation | fix every | engine | at most | naive rule |\n|---|---|---|---|---|\n");
  for (const auto& row : allRows()) {
    const auto figures = row.measure();
    const double limit = row.limit(figures.naive);
    // Written so that NaN fails.
    const bool passes = figures.engine <= limit;
    std::printf("| %s | %d s | %.3g | %.3g | %.3g |%s\n", row.name.c_str(),
                static_cast<int>(row.pause), figures.engine, limit, figures.naive,
                passes ? "" : " FAILED");
    failed += passes ? 0 : 1;
  }
  if (failed > 0) std::printf("%d figures are above their limits\n", failed);
  return failed > 0 ? 1 : 0;
}
