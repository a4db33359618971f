#include "tools/ksbeacon/portal/PortalSite.h"

#include <algorithm>
#include <array>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/NSData+Base64.h"
#include "tools/ksbeacon/portal/PortalSchema.h"
#include "tools/ksbeacon/portal/PortalSelection.h"

namespace ks::portal {

namespace json = boost::json;

namespace {

constexpr std::array<std::string_view, 5> kDocumentPaths = {
    "/contents/categories", "/locations", "/beacons/unique-uuids", "/beacons", "/geofences"};
constexpr std::array<std::string_view, 2> kZoneKinds = {"beacons", "geofences"};
constexpr std::array<std::string_view, 4> kEvents = {"enter", "exit", "notification", "content"};

bool contains(const auto& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

SiteReply message(int status, const std::string& text) {
  SiteReply reply;
  reply.status = status;
  reply.fields.emplace_back("Content-Type", "application/json");
  reply.body = json::serialize(json::object{{"message", text}});
  return reply;
}

SiteReply wrongMethod(const std::string& allowed) {
  SiteReply reply = message(405, "expected " + allowed);
  reply.fields.emplace_back("Allow", allowed);
  return reply;
}

/// Sixty-four bits of FNV-1a over the body: equal documents have equal tags on every run.
std::string entityTag(const std::string& body) {
  std::uint64_t hash = 14695981039346656037ULL;
  for (const char c : body) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ULL;
  }
  char text[24];
  std::snprintf(text, sizeof(text), "\"%016llx\"", static_cast<unsigned long long>(hash));
  return text;
}

bool namesTag(std::string_view ifNoneMatch, const std::string& tag) {
  return ifNoneMatch == "*" || ifNoneMatch.find(tag) != std::string_view::npos;
}

/// Takes equally long for every text of one length.
bool isEqual(const std::string& a, const std::string& b) {
  unsigned difference = a.size() == b.size() ? 0 : 1;
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
    difference |= static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]);
  }
  return difference == 0;
}

}  // namespace

Result<std::unique_ptr<PortalSite>> PortalSite::make(const PortalOptions& options) {
  std::unique_ptr<PortalSite> site(new PortalSite(options));
  if (auto loaded = site->library_.load(); !loaded) return loaded.error();
  const auto& file = options.statisticsFile;
  if (!file.empty()) {
    site->statistics_.open(file, std::ios::app | std::ios::binary);
    if (!site->statistics_) return Error("Portal", 1, file.string() + ": cannot be written");
  }
  return site;
}

PortalSite::PortalSite(const PortalOptions& options)
    : options_(options), library_(options.documents) {
  if (options.username.empty() && options.password.empty()) return;
  const std::string plain = options.username + ":" + options.password;
  const std::unique_ptr<char, decltype(&std::free)> text(
      NewBase64Encode(plain.data(), plain.size(), false, nullptr), &std::free);
  authorization_ = std::string("Basic ") + text.get();
}

SiteReply PortalSite::answer(const SiteRequest& request) {
  if (!isAuthorized(request.authorization)) {
    SiteReply reply = message(401, "credentials are wrong or missing");
    reply.fields.emplace_back("WWW-Authenticate", "Basic realm=\"portal\"");
    return reply;
  }
  if (contains(kDocumentPaths, request.path)) {
    if (request.method != "GET" && request.method != "HEAD") return wrongMethod("GET, HEAD");
    return document(request);
  }
  const std::size_t slash = request.path.rfind('/');
  const std::string zoneKind = slash > 0 ? request.path.substr(1, slash - 1) : "";
  const std::string event = request.path.substr(slash + 1);
  if (contains(kZoneKinds, zoneKind) && contains(kEvents, event)) {
    if (request.method != "POST") return wrongMethod("POST");
    return statistic(zoneKind, event, request.body);
  }
  return message(404, "nothing is here: " + request.path);
}

Result<bool> PortalSite::setDocuments(const std::filesystem::path& folder) {
  PortalLibrary other(folder);
  if (auto loaded = other.load(); !loaded) return loaded;
  library_ = std::move(other);
  return true;
}

void PortalSite::close() {
  if (statistics_.is_open()) statistics_.close();
}

bool PortalSite::isAuthorized(const std::string& authorization) const {
  return authorization_.empty() || isEqual(authorization, authorization_);
}

SiteReply PortalSite::document(const SiteRequest& request) {
  if (options_.reload) library_.refresh(options_.onMessage);
  const PortalQuery query(request.query);
  const auto& beacons = library_.items(DocumentKind::beacons);
  const auto& locations = library_.items(DocumentKind::locations);
  Result<json::array> items = library_.items(DocumentKind::categories);
  if (request.path == "/locations") items = selectLocations(locations, query);
  if (request.path == "/beacons") items = selectBeacons(beacons, query);
  if (request.path == "/beacons/unique-uuids") items = selectUniqueUUIDs(beacons, locations, query);
  if (request.path == "/geofences") {
    items = selectGeofences(library_.items(DocumentKind::geofences), query);
  }
  if (!items) return message(400, items.error().localizedDescription());

  SiteReply reply;
  reply.body = json::serialize(*items);
  const std::string tag = entityTag(reply.body);
  reply.fields = {{"ETag", tag}, {"Cache-Control", "private, max-age=0"}};
  if (namesTag(request.ifNoneMatch, tag)) {
    reply.status = 304;
    reply.body.clear();
  } else {
    reply.fields.emplace_back("Content-Type", "application/json");
  }
  return reply;
}

SiteReply PortalSite::statistic(const std::string& zoneKind, const std::string& event,
                                const std::string& text) {
  boost::system::error_code error;
  const json::value body = json::parse(text, error);
  if (error) return message(400, "no valid JSON: " + error.message());
  std::string problem;
  checkStatistic(zoneKind, event, body, [&](const std::string& member, const std::string& what) {
    if (problem.empty()) problem = member.empty() ? what : member + ": " + what;
  });
  if (!problem.empty()) return message(400, problem);

  const std::string compact = json::serialize(body);
  if (statistics_.is_open()) {
    statistics_ << "{\"zone\":\"" << zoneKind << "\",\"event\":\"" << event
                << "\",\"body\":" << compact << "}\n"
                << std::flush;
    if (!statistics_) {
      statistics_.clear();
      tell(options_.statisticsFile.string() + ": an event could not be written");
      return message(500, "the event could not be recorded");
    }
  }
  if (options_.onStatistic) options_.onStatistic({zoneKind, event, compact});
  SiteReply reply;
  reply.status = 204;
  return reply;
}

void PortalSite::tell(const std::string& message) const {
  if (options_.onMessage) options_.onMessage(message);
}

}  // namespace ks::portal
