#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ks::tool {

/// One scenario or recording of a suite, and how its runs came out.
struct SuiteCase {
  /// One expectation in all runs.
  struct Tally {
    std::uint64_t met = 0;
    std::uint64_t runs = 0;
    /// The runs in which it was not met; a recording's has seed 0.
    std::vector<std::uint64_t> failedSeeds;
    /// What happened instead in the first of them.
    std::string happened;
  };

  std::filesystem::path file;
  /// By line, then in words.
  std::map<std::pair<std::int64_t, std::string>, Tally> expectations;
  /// Runs that ended otherwise than by their expectations: the seed and what was said.
  std::vector<std::pair<std::uint64_t, std::string>> failures;

  bool hasPassed() const;
};

struct SuiteOptions {
  /// Runs of each scenario, each with the next seed.
  std::uint64_t walks = 1;
  /// Of the first run; the scenario's own unless given.
  std::optional<std::uint64_t> seed;
  /// Runs at a time.
  unsigned jobs = 1;
  /// Asked between runs; true ends the suite there. Empty: never.
  std::function<bool()> isInterrupted;
};

/// The scenarios and recordings among `paths`: files as they are given, folders with all below
/// them, in the order of their names.
std::vector<std::filesystem::path> suiteFiles(const std::vector<std::string>& paths);

/// Runs each file in processes of its own: a process is one device.
std::vector<SuiteCase> runSuite(const std::vector<std::filesystem::path>& files,
                                const SuiteOptions& options);

/// "38 of 40 met, not with seeds 7, 19: ..."; one line for each expectation that was not always
/// met and each other failure.
std::vector<std::string> faultsOf(const SuiteCase& tested);

/// The suite as JUnit's XML.
std::string junitXml(const std::vector<SuiteCase>& cases);

}  // namespace ks::tool
