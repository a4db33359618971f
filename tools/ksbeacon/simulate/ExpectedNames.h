#pragma once

#include <optional>

#include "tools/ksbeacon/documents/InputError.h"
#include "tools/ksbeacon/scenario/Scenario.h"

namespace ks::tool {

/// The first expectation about a content or a zone that the scenario's own documents do not have:
/// one that could only fail, or, expected never to happen, never fail. Nothing when a document is
/// broken: whoever serves it says so.
std::optional<InputError> unknownExpectedName(const Scenario& scenario);

}  // namespace ks::tool
