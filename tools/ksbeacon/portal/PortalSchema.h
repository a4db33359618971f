#pragma once

#include <array>
#include <boost/json/array.hpp>
#include <functional>
#include <string>

namespace ks::portal {

enum class DocumentKind { categories, locations, beacons, geofences };

inline constexpr std::array kDocumentKinds = {DocumentKind::categories, DocumentKind::locations,
                                              DocumentKind::beacons, DocumentKind::geofences};

/// "categories.json", ...
const char* documentFileName(DocumentKind kind);

/// Told of each fault: the member's path ("[2].content.proximity") and what was expected.
using ProblemSink = std::function<void(const std::string& member, const std::string& message)>;

/// Checks the items of a document: members that must be there, kinds of values, numbers' ranges,
/// words from a list, unknown members. Null counts as absent; a number may be written as text.
void checkItems(DocumentKind kind, const boost::json::array& items, const ProblemSink& report);

/// Checks a statistics body: `zoneKind` "beacons" or "geofences", `event` "enter", "exit",
/// "notification" or "content". Every member must be there, null where the shape allows it.
void checkStatistic(const std::string& zoneKind, const std::string& event,
                    const boost::json::value& body, const ProblemSink& report);

}  // namespace ks::portal
