#pragma once

#include <string>

#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// Returns what would have to change for the rule of a refusal, or a dwelling wait, to let the
/// content fire: "if category 2 were on".
std::string remedyForRule(const TimelineEvent& decision);

}  // namespace ks::tool
