#include "tools/ksbeacon/check/DocumentCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <iterator>
#include <map>
#include <string>
#include <tuple>
#include <utility>

#include "BeaconSDK/Platform/Api/Ascii.h"
#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "tools/ksbeacon/check/ContentCheck.h"
#include "tools/ksbeacon/output/Suggestion.h"

namespace ks::tool {

namespace {

namespace json = boost::json;
using portal::DocumentKind;
using portal::DocumentProblem;
using portal::PortalDocument;

/// Looks at the four documents of a folder together.
class Checker {
 public:
  Checker(const std::filesystem::path& folder, Date now)
      : folder_((folder / "").parent_path()), now_(now) {
    for (const DocumentKind kind : portal::kDocumentKinds) {
      documents_.emplace(kind, portal::readDocument(kind, folder));
    }
  }

  std::vector<DocumentProblem> run() {
    if (std::ranges::none_of(documents_, [](const auto& each) { return each.second.exists; })) {
      return {{folder_, 0, "",
               "expected categories.json, locations.json, beacons.json or geofences.json in it"}};
    }
    for (const DocumentKind kind : portal::kDocumentKinds) {
      Names identifiers;
      eachItem(kind, [&](const json::object& item, const std::string& path) {
        repeated(kind, path + ".id", identifiers, textOf(item, "id"), "identifier");
      });
      known_[kind] = std::move(identifiers);
    }
    eachItem(DocumentKind::beacons, [&](const json::object& item, const std::string&) {
      if (const auto* const content = objectIn(item, "content")) ++sharing_[textOf(*content, "id")];
    });
    Names beacons;
    eachItem(DocumentKind::beacons, [&](const json::object& item, const std::string& path) {
      checkBeacon(item, path, beacons);
    });
    eachItem(DocumentKind::geofences, [&](const json::object& item, const std::string& path) {
      checkCircle(item, path);
      checkValidity(DocumentKind::geofences, item, now_, findingsOf(DocumentKind::geofences, path));
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
    const std::string uuid = asciiUpperCased(textOf(item, "uuid"));
    if (!uuid.empty()) {
      const std::string identity =
          fmt::format("{}:{}:{}", uuid, textOf(item, "major"), textOf(item, "minor"));
      repeated(DocumentKind::beacons, path + ".uuid", beacons, identity, "beacon");
    }
    if (const json::object* const location = objectIn(item, "location")) {
      const std::string identifier = textOf(*location, "id");
      if (!identifier.empty() && !known_[DocumentKind::locations].contains(identifier)) {
        report(DocumentKind::beacons, path + ".location.id",
               "expected a location of locations.json, got " + identifier +
                   meant(DocumentKind::locations, identifier));
      }
    }
    checkValidity(DocumentKind::beacons, item, now_, findingsOf(DocumentKind::beacons, path));
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
             fmt::format("can never fire: categories.json has no category {}{}", category,
                         meant(DocumentKind::categories, category)));
    }
    const auto shared = sharing_.find(textOf(*content, "id"));
    checkContentRules(
        kind, *content,
        kind == DocumentKind::beacons && shared != sharing_.end() ? shared->second : 1,
        findingsOf(kind, path));
  }

  /// The identifier that was probably meant, for the end of a finding.
  std::string meant(DocumentKind kind, const std::string& wrong) {
    std::vector<std::string> names;
    for (const auto& [name, member] : known_[kind]) names.push_back(name);
    return suggestion(wrong, names);
  }

  ZoneFindings findingsOf(DocumentKind kind, const std::string& path) {
    return [this, kind, path](const std::string& member, std::string message) {
      report(kind, path + "." + member, std::move(message));
    };
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

  const std::filesystem::path folder_;
  const Date now_;
  std::map<DocumentKind, PortalDocument> documents_;
  /// How many beacons have a content of this identifier.
  std::map<std::string, std::size_t> sharing_;
  std::map<DocumentKind, Names> known_;
  std::vector<std::tuple<std::string, CLLocationCoordinate2D, double>> circles_;
};

}  // namespace

std::vector<DocumentProblem> checkDocuments(const std::filesystem::path& folder, Date now) {
  return Checker(folder, now).run();
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
