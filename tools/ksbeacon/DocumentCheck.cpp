#include "tools/ksbeacon/DocumentCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cstdlib>
#include <iterator>
#include <map>
#include <string>
#include <tuple>
#include <utility>

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks::tool {

namespace {

namespace json = boost::json;
using portal::DocumentKind;
using portal::DocumentProblem;
using portal::PortalDocument;

/// A member as text: numbers may be written either way. Empty when it is missing or of another
/// kind.
std::string textOf(const json::object& object, const char* name) {
  const json::value* const value = object.if_contains(name);
  if (value == nullptr) return "";
  if (value->is_string()) return std::string(value->get_string());
  if (value->is_int64()) return std::to_string(value->get_int64());
  if (value->is_uint64()) return std::to_string(value->get_uint64());
  return value->is_double() ? fmt::format("{}", value->get_double()) : "";
}

double numberOf(const json::object& object, const char* name) {
  return std::strtod(textOf(object, name).c_str(), nullptr);
}

const json::object* objectIn(const json::object& object, const char* name) {
  const json::value* const value = object.if_contains(name);
  return value == nullptr ? nullptr : value->if_object();
}

std::string upperCase(std::string text) {
  for (char& c : text) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  return text;
}

/// Looks at the four documents of a folder together.
class Checker {
 public:
  explicit Checker(const std::filesystem::path& folder) {
    for (const DocumentKind kind : portal::kDocumentKinds) {
      documents_.emplace(kind, portal::readDocument(kind, folder));
    }
  }

  std::vector<DocumentProblem> run() {
    for (const DocumentKind kind : portal::kDocumentKinds) {
      Names identifiers;
      eachItem(kind, [&](const json::object& item, const std::string& path) {
        repeated(kind, path + ".id", identifiers, textOf(item, "id"), "identifier");
      });
      known_[kind] = std::move(identifiers);
    }
    Names beacons;
    eachItem(DocumentKind::beacons, [&](const json::object& item, const std::string& path) {
      checkBeacon(item, path, beacons);
    });
    eachItem(DocumentKind::geofences, [&](const json::object& item, const std::string& path) {
      checkCircle(item, path);
      checkContent(DocumentKind::geofences, item, path);
    });
    return inOrder();
  }

 private:
  /// What was met, and where.
  using Names = std::map<std::string, std::string>;

  template <class Visit>
  void eachItem(DocumentKind kind, const Visit& visit) {
    const json::array& items = documents_.at(kind).items;
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (const json::object* const item = items[i].if_object())
        visit(*item, fmt::format("[{}]", i));
    }
  }

  void report(DocumentKind kind, const std::string& member, std::string message) {
    PortalDocument& document = documents_.at(kind);
    document.problems.push_back(
        {document.file, document.lineOf(member), member, std::move(message)});
  }

  void repeated(DocumentKind kind, const std::string& member, Names& met, const std::string& name,
                const char* what) {
    if (name.empty()) return;
    const auto [first, isNew] = met.emplace(name, member);
    if (!isNew)
      report(kind, member, fmt::format("the {} {} stands at {} too", what, name, first->second));
  }

  void checkBeacon(const json::object& item, const std::string& path, Names& beacons) {
    const std::string uuid = upperCase(textOf(item, "uuid"));
    if (!uuid.empty()) {
      const std::string identity =
          fmt::format("{}:{}:{}", uuid, textOf(item, "major"), textOf(item, "minor"));
      repeated(DocumentKind::beacons, path + ".uuid", beacons, identity, "beacon");
    }
    if (const json::object* const location = objectIn(item, "location")) {
      const std::string identifier = textOf(*location, "id");
      if (!identifier.empty() && !known_[DocumentKind::locations].contains(identifier)) {
        report(DocumentKind::beacons, path + ".location.id",
               "expected a location of locations.json, got " + identifier);
      }
    }
    checkContent(DocumentKind::beacons, item, path);
  }

  void checkCircle(const json::object& item, const std::string& path) {
    const CLLocationCoordinate2D center{numberOf(item, "latitude"), numberOf(item, "longitude")};
    const double radius = numberOf(item, "radius");
    for (const auto& [otherPath, other, otherRadius] : circles_) {
      if (distanceBetween(center, other).value < radius + otherRadius) {
        report(
            DocumentKind::geofences, path,
            fmt::format("the circle overlaps that of {}: both can be entered at once", otherPath));
        break;
      }
    }
    circles_.emplace_back(path, center, radius);
  }

  void checkContent(DocumentKind kind, const json::object& item, const std::string& path) {
    const json::object* const content = objectIn(item, "content");
    if (content == nullptr) return;
    const std::string category = textOf(*content, "categoryId");
    if (category.empty()) {
      report(kind, path + ".content", "can never fire: a content needs a category that is on");
    } else if (!known_[DocumentKind::categories].contains(category)) {
      report(kind, path + ".content.categoryId",
             fmt::format("can never fire: categories.json has no category {}", category));
    }
    if (numberOf(*content, "notifyAfterXEvents") > 1 &&
        numberOf(*content, "maxIntervalSeconds") <= 0) {
      report(kind, path + ".content.notifyAfterXEvents",
             "can never fire: no second event comes within maxIntervalSeconds");
    }
    const bool onExit = textOf(*content, "notifyOn") != "ENTER";
    if (kind == DocumentKind::geofences && onExit &&
        numberOf(*content, "dwellingTimeSeconds") > 0) {
      report(kind, path + ".content.dwellingTimeSeconds",
             "can never fire: on leaving a circle no stay is timed");
    }
    if (kind == DocumentKind::geofences && !textOf(*content, "proximity").empty()) {
      report(kind, path + ".content.proximity", "has no effect: circles know no proximity");
    }
  }

  std::vector<DocumentProblem> inOrder() {
    std::vector<DocumentProblem> all;
    for (const DocumentKind kind : portal::kDocumentKinds) {
      auto& problems = documents_.at(kind).problems;
      std::ranges::stable_sort(problems, {}, &DocumentProblem::line);
      std::ranges::move(problems, std::back_inserter(all));
    }
    return all;
  }

  std::map<DocumentKind, PortalDocument> documents_;
  std::map<DocumentKind, Names> known_;
  std::vector<std::tuple<std::string, CLLocationCoordinate2D, double>> circles_;
};

}  // namespace

std::vector<DocumentProblem> checkDocuments(const std::filesystem::path& folder) {
  return Checker(folder).run();
}

std::optional<DocumentNames> documentNames(const std::filesystem::path& folder) {
  DocumentNames names;
  for (const DocumentKind kind : {DocumentKind::beacons, DocumentKind::geofences}) {
    const PortalDocument document = portal::readDocument(kind, folder);
    if (!document.problems.empty()) return std::nullopt;
    for (const json::value& item : document.items) {
      const json::object& zone = item.get_object();
      names.zones.insert(textOf(zone, "id"));
      if (const json::object* const content = objectIn(zone, "content")) {
        names.contents.insert(textOf(*content, "id"));
      }
    }
  }
  return names;
}

}  // namespace ks::tool
