// Measures the location engine and the library on it from end to end, prints the table of
// docs/location.md and fails when a figure is above its limit.
//
// usage: LocationGate [TEXT]    only the rows whose name contains TEXT

#include "bench/gate/Gate.h"

#include <cstdio>
#include <string_view>

#include "bench/gate/Bystander.h"

namespace {

using ks::gate::Row;

void printHeading() {
  std::printf("| situation | figure | measured | at most |");
  for (const auto& kind : ks::gate::bystanders()) std::printf(" %s |", kind.name.c_str());
  std::printf("\n|---|---|---|---|");
  for (std::size_t i = 0; i < ks::gate::bystanders().size(); ++i) std::printf("---|");
  std::printf("\n");
}

/// Prints the row's figures and returns how many of them fail.
int run(const Row& row) {
  int failed = 0;
  for (const auto& figure : row.measure()) {
    std::printf("| %s | %s | %.4g | %.4g |", row.name.c_str(), figure.what.c_str(), figure.value,
                figure.limit);
    for (const double other : figure.others) std::printf(" %.4g |", other);
    std::printf("%s\n", figure.passes() ? "" : " FAILED");
    failed += !figure.passes();
  }
  std::fflush(stdout);
  return failed;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view wanted = argc > 1 ? argv[1] : "";
  int failed = 0;
  printHeading();
  for (const auto& rows :
       {ks::gate::presenceRows(), ks::gate::borderRows(), ks::gate::recordedRows(),
        ks::gate::positionRows(), ks::gate::costRows()}) {
    for (const auto& row : rows) {
      if (row.name.find(wanted) != std::string::npos) failed += run(row);
    }
  }
  if (failed > 0) std::printf("%d figures are above their limits\n", failed);
  return failed > 0 ? 1 : 0;
}
