#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "tools/ksbeacon/documents/InputError.h"
#include "tools/ksbeacon/scenario/Scenario.h"

namespace ks::tool {

/// Reads a scenario and checks every member. `file` names the document in messages and is where
/// relative folders count from. Never touches anything but the text, apart from looking whether the
/// documents folder is there.
std::variant<Scenario, InputError> readScenario(std::string_view text, const std::string& file);

/// The same for the content of `path`.
std::variant<Scenario, InputError> readScenarioFile(const std::string& path);

/// The day of one of the scenario's devices, as a scenario of its own; without a name the scenario
/// itself.
std::variant<Scenario, InputError> chooseDevice(Scenario scenario, const std::string& name);

/// Reads the expectations about a recording: an object with the list "expect" of a scenario. Those
/// without "to" end at `kLongestDay`.
std::variant<std::vector<Scenario::Expectation>, InputError> readExpectations(
    const std::string& path);

/// The longest day, a year: longer ones are a typing error.
inline constexpr Seconds kLongestDay{366.0 * 24 * 3600};

/// A day along a GPX track without beacons, against the portal documents in a folder: from the
/// track's first time, or a fixed one, until a minute after its last point.
std::variant<Scenario, InputError> readTrackScenario(const std::string& path,
                                                     const std::string& documents);

}  // namespace ks::tool
