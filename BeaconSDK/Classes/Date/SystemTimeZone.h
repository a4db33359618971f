#pragma once

#include <unicode/timezone.h>

#include <memory>
#include <string>

namespace ks {

/// Returns the zone `name` ("Europe/Rome") by the rules that the system's zone data hold, which an
/// update of the system keeps current; ICU's own are as old as the ICU library. ICU's are used
/// after 2037, where the data end, and without system data for the zone. A name that neither knows
/// gives ICU's unknown zone, which is UTC. Any thread.
std::unique_ptr<icu::TimeZone> systemTimeZone(const std::string& name);

}  // namespace ks
