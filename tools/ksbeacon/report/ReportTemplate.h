#pragma once

#include <string_view>

namespace ks::tool {

/// The page up to its data and from there on; made by the build from page.html, page.css, page.js
/// and the map library.
extern const std::string_view kReportBeforeData;
extern const std::string_view kReportAfterData;

}  // namespace ks::tool
