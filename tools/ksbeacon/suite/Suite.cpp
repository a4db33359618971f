#include "tools/ksbeacon/suite/Suite.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <pugixml.hpp>
#include <sstream>
#include <system_error>
#include <thread>
#include <utility>

#include "BeaconSDK/Platform/Api/Ascii.h"
#include "tools/ksbeacon/documents/LocatedJson.h"

namespace ks::tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* kRecordingEnding = ".ksrec";

bool isRecording(const fs::path& file) {
  return asciiLowerCased(file.extension().string()) == kRecordingEnding;
}

/// "day.expect.json" beside "day.ksrec".
fs::path expectationsOf(const fs::path& recording) {
  return fs::path(recording).replace_extension(".expect.json");
}

const JsonNode* memberOf(const JsonNode& node, std::string_view name) {
  const auto* const members = node.members();
  if (members == nullptr) return nullptr;
  const auto found = std::ranges::find(*members, name, &std::pair<std::string, JsonNode>::first);
  return found == members->end() ? nullptr : &found->second;
}

/// Portal documents are lists; a scenario has a portal and an end.
bool isScenario(const fs::path& file) {
  if (asciiLowerCased(file.extension().string()) != ".json") return false;
  const auto read = readLocatedJson(file.string());
  const auto* const root = std::get_if<JsonNode>(&read);
  return root != nullptr && memberOf(*root, "portal") != nullptr &&
         memberOf(*root, "until") != nullptr;
}

std::string quoted(const std::string& text) {
  std::string safe = "'";
  for (const char c : text) safe += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return safe + "'";
}

struct Output {
  std::string text;
  int code = 0;
};

Output outputOf(const std::string& command) {
  Output output;
  FILE* const pipe = ::popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return {"a process could not be started", 1};
  std::array<char, 65536> buffer{};
  for (std::size_t got = 0; (got = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
    output.text.append(buffer.data(), got);
  }
  output.code = ::pclose(pipe);
  return output;
}

void noteExpectation(SuiteCase& tested, const JsonNode& event, std::uint64_t seed) {
  const JsonNode* const line = memberOf(event, "line");
  const JsonNode* const expected = memberOf(event, "expected");
  const JsonNode* const met = memberOf(event, "met");
  if (line == nullptr || expected == nullptr || met == nullptr) return;
  if (line->number() == nullptr || expected->string() == nullptr || met->boolean() == nullptr) {
    return;
  }
  SuiteCase::Tally& tally =
      tested.expectations[{static_cast<std::int64_t>(*line->number()), *expected->string()}];
  ++tally.runs;
  if (*met->boolean()) {
    ++tally.met;
    return;
  }
  tally.failedSeeds.push_back(seed);
  const JsonNode* const happened = memberOf(event, "happened");
  if (tally.happened.empty() && happened != nullptr && happened->string() != nullptr) {
    tally.happened = *happened->string();
  }
}

/// Reads what a run printed: its expectations, and else its last words.
void noteRun(SuiteCase& tested, const Output& output, std::uint64_t seed) {
  std::istringstream lines(output.text);
  std::string words;
  bool hasFailed = false;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with('{')) words = line;
    if (line.find("\"kind\":\"expectation\"") == std::string::npos) continue;
    const auto parsed = parseLocatedJson(line, "event");
    if (const auto* const event = std::get_if<JsonNode>(&parsed)) {
      noteExpectation(tested, *event, seed);
      const JsonNode* const met = memberOf(*event, "met");
      hasFailed = hasFailed || (met != nullptr && met->boolean() != nullptr && !*met->boolean());
    }
  }
  if (output.code != 0 && !hasFailed) tested.failures.emplace_back(seed, words);
}

std::uint64_t seedOf(const fs::path& file) {
  const auto read = readLocatedJson(file.string());
  const auto* const root = std::get_if<JsonNode>(&read);
  const JsonNode* const seed = root != nullptr ? memberOf(*root, "seed") : nullptr;
  return seed != nullptr && seed->number() != nullptr ? static_cast<std::uint64_t>(*seed->number())
                                                      : 1;
}

struct SuiteRun {
  std::size_t of;
  std::uint64_t seed;
  std::string command;
};

std::vector<SuiteRun> plan(const std::vector<fs::path>& files, const SuiteOptions& options) {
  const std::string self = quoted(fs::read_symlink("/proc/self/exe").string());
  std::vector<SuiteRun> runs;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string file = quoted(fs::absolute(files[i]).string());
    if (isRecording(files[i])) {
      std::string command = fmt::format("{} replay {} --json", self, file);
      std::error_code error;
      const fs::path expected = expectationsOf(files[i]);
      if (fs::exists(expected, error)) {
        command += " --expect " + quoted(fs::absolute(expected).string());
      }
      runs.push_back({i, 0, std::move(command)});
      continue;
    }
    const std::uint64_t first = options.seed.value_or(seedOf(files[i]));
    for (std::uint64_t walk = 0; walk < options.walks; ++walk) {
      runs.push_back({i, first + walk,
                      fmt::format("{} simulate {} --json --seed {}", self, file, first + walk)});
    }
  }
  return runs;
}

}  // namespace

bool SuiteCase::hasPassed() const {
  return failures.empty() && std::ranges::all_of(expectations, [](const auto& each) {
           return each.second.failedSeeds.empty();
         });
}

std::vector<fs::path> suiteFiles(const std::vector<std::string>& paths) {
  std::vector<fs::path> files;
  for (const std::string& path : paths) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
      files.emplace_back(path);
      continue;
    }
    std::vector<fs::path> found;
    for (const auto& entry : fs::recursive_directory_iterator(path, error)) {
      if (!entry.is_regular_file(error)) continue;
      if (isRecording(entry.path()) || isScenario(entry.path())) found.push_back(entry.path());
    }
    std::ranges::sort(found);
    std::ranges::move(found, std::back_inserter(files));
  }
  return files;
}

std::vector<SuiteCase> runSuite(const std::vector<fs::path>& files, const SuiteOptions& options) {
  std::vector<SuiteCase> cases;
  cases.reserve(files.size());
  for (const fs::path& file : files) cases.push_back({file, {}, {}});
  const std::vector<SuiteRun> runs = plan(files, options);
  std::atomic<std::size_t> next = 0;
  std::mutex mutex;
  const auto work = [&] {
    for (std::size_t i = next++; i < runs.size(); i = next++) {
      if (options.isInterrupted && options.isInterrupted()) return;
      const Output output = outputOf(runs[i].command);
      const std::lock_guard lock(mutex);
      noteRun(cases[runs[i].of], output, runs[i].seed);
    }
  };
  std::vector<std::thread> threads;
  try {
    for (unsigned i = 1; i < options.jobs; ++i) threads.emplace_back(work);
  } catch (const std::system_error&) {
    // Those that were to be had do it.
  }
  work();
  for (std::thread& thread : threads) thread.join();
  for (SuiteCase& tested : cases) {
    std::ranges::sort(tested.failures);
    for (auto& [expectation, tally] : tested.expectations) std::ranges::sort(tally.failedSeeds);
  }
  return cases;
}

std::vector<std::string> faultsOf(const SuiteCase& tested) {
  std::vector<std::string> faults;
  const fs::path file = isRecording(tested.file) ? expectationsOf(tested.file) : tested.file;
  for (const auto& [expectation, tally] : tested.expectations) {
    if (tally.failedSeeds.empty()) continue;
    // A recording has no seed.
    const std::string seeds =
        isRecording(tested.file)
            ? ""
            : fmt::format(", not with seed {}", fmt::join(tally.failedSeeds, ", "));
    faults.push_back(fmt::format("{}:{}: expected: {}; {} of {} met{}; {}", file.string(),
                                 expectation.first, expectation.second, tally.met, tally.runs,
                                 seeds, tally.happened));
  }
  for (const auto& [seed, words] : tested.failures) {
    faults.push_back(fmt::format("{}: {}", tested.file.string(), words));
  }
  return faults;
}

std::string junitXml(const std::vector<SuiteCase>& cases) {
  pugi::xml_document document;
  pugi::xml_node suite = document.append_child("testsuite");
  suite.append_attribute("name") = "ksbeacon";
  suite.append_attribute("tests") = static_cast<unsigned long long>(cases.size());
  suite.append_attribute("failures") = static_cast<unsigned long long>(
      std::ranges::count_if(cases, [](const SuiteCase& each) { return !each.hasPassed(); }));
  for (const SuiteCase& each : cases) {
    pugi::xml_node test = suite.append_child("testcase");
    test.append_attribute("name") = each.file.filename().string().c_str();
    test.append_attribute("classname") = each.file.parent_path().string().c_str();
    for (const std::string& fault : faultsOf(each)) {
      test.append_child("failure").append_attribute("message") = fault.c_str();
    }
  }
  std::ostringstream text;
  document.save(text, "  ");
  return text.str();
}

}  // namespace ks::tool
