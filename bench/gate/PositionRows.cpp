#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/gate/Gate.h"
#include "bench/gate/PositionScenes.h"

namespace ks::gate {

namespace {

constexpr Metres kAccuracy{20};

std::string every(std::int64_t pause) { return ", a fix every " + std::to_string(pause) + " s"; }

std::string besideNaive(const std::string& what, double naive) {
  char text[96];
  std::snprintf(text, sizeof text, "%s (naive rule: %.3g)", what.c_str(), naive);
  return text;
}

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
  return {"resting " + where + every(pause), [=] {
            const auto told = crossingsPerDay(rest);
            return std::vector<Figure>{
                {besideNaive("crossings a day", told.naive), told.engine, told.naive / 10}};
          }};
}

/// Visits in a vehicle: missed at most as often as by the naive rule.
Row driveRow(double speed, double fromCentre, std::int64_t pause) {
  const DriveBy drive{speed, pause, fromCentre, kAccuracy, honestErrors(kAccuracy)};
  return {"driving at " + std::to_string(static_cast<int>(speed)) + " km/h past the centre by " +
              std::to_string(static_cast<int>(fromCentre)) + " m" + every(pause),
          [=] {
            const auto missed = missedShare(drive);
            return std::vector<Figure>{
                {besideNaive("share of visits missed", missed.naive), missed.engine, missed.naive}};
          }};
}

/// On a road beside the circle: told of a visit at most in that share of the naive rule's cases.
Row passRow(double fromCentre, Seconds memory, double share) {
  DriveBy drive{50, 1, fromCentre, kAccuracy, honestErrors(kAccuracy)};
  drive.errors.memory = memory;
  return {"driving at 50 km/h, " + std::to_string(static_cast<int>(fromCentre)) +
              " m from the centre" + every(1) + (memory > Seconds{0} ? ", lasting errors" : ""),
          [=] {
            const auto missed = missedShare(drive);
            return std::vector<Figure>{{besideNaive("share of visits invented", 1 - missed.naive),
                                        1 - missed.engine, share * (1 - missed.naive)}};
          }};
}

/// From a walker's crossing to the event.
Row visitRow(std::int64_t pause, Metres accuracy, double limit) {
  const Visit visit{pause, accuracy, honestErrors(accuracy)};
  return {
      "walking in and out, uncertainty " + std::to_string(static_cast<int>(accuracy.value)) + " m" +
          every(pause),
      [=] {
        const auto delay = crossingDelay(visit);
        return std::vector<Figure>{{besideNaive("seconds late", delay.naive), delay.engine, limit}};
      }};
}

}  // namespace

std::vector<Row> positionRows() {
  std::vector<Row> rows;
  for (const std::int64_t pause : {1, 10, 60}) {
    rows.push_back(restRow("in the centre", 0, pause, Seconds{0}));
  }
  rows.push_back(restRow("60 m from the centre", 60, 10, Seconds{60}));
  rows.push_back(restRow("on the border", 100, 10, Seconds{60}));
  for (const double fromCentre : {0, 50, 80}) {
    for (const std::int64_t pause : {1, 10, 30}) rows.push_back(driveRow(50, fromCentre, pause));
  }
  for (const double fromCentre : {90, 95, 98}) rows.push_back(driveRow(50, fromCentre, 1));
  rows.push_back(driveRow(130, 50, 10));
  rows.push_back(passRow(105, Seconds{0}, 1));
  rows.push_back(passRow(115, Seconds{0}, 0.65));
  rows.push_back(passRow(115, Seconds{10}, 1));
  rows.push_back(visitRow(1, {5}, 6));
  rows.push_back(visitRow(10, {5}, 7));
  rows.push_back(visitRow(1, {20}, 26));
  return rows;
}

}  // namespace ks::gate
