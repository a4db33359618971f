#include "BeaconSDK/Platform/Linux/Positions/GeoClue.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"

namespace ks {

namespace {

using Stage = PositionSourceStatus::Stage;

constexpr const char* kGeoClueName = "org.freedesktop.GeoClue2";
constexpr const char* kManagerPath = "/org/freedesktop/GeoClue2/Manager";
constexpr const char* kManager = "org.freedesktop.GeoClue2.Manager";
constexpr const char* kClient = "org.freedesktop.GeoClue2.Client";
constexpr const char* kLocation = "org.freedesktop.GeoClue2.Location";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";

constexpr std::uint32_t kExact = 8;
constexpr std::uint32_t kStreet = 6;
constexpr Metres kCoarsestExact{100};
constexpr double kThresholdShare = 0.1;

/// After this time an answer that waits for a person is a state of its own.
constexpr Seconds kPatience{2};
/// Answers that wait for a person, or for an agent to speak for one.
constexpr Seconds kPersonLimit{3600};
constexpr Seconds kFirstSilence{60};
constexpr Seconds kLongestSilence{600};
/// Rarer after a position: an unchanged one is silent too, and some agents ask the user every time.
constexpr Seconds kRenewal{1800};
constexpr double kMicrosecond = 1e-6;

}  // namespace

GeoClueRequest geoClueRequest(Metres accuracy, Seconds interval) {
  const double metres = std::clamp(accuracy.value * kThresholdShare, 0.0, 1000.0);
  const double seconds = std::clamp(interval.count() - 1, 0.0, 3600.0);
  return {accuracy.value <= kCoarsestExact.value ? kExact : kStreet,
          static_cast<std::uint32_t>(metres), static_cast<std::uint32_t>(seconds)};
}

GeoClue::GeoClue(Clock& clock, DispatchQueue& queue, std::string desktopId,
                 PositionSourceListener listener)
    : clock_(clock),
      queue_(queue),
      desktopId_(std::move(desktopId)),
      listener_(std::move(listener)),
      silenceLimit_(kFirstSilence) {}

void GeoClue::setWanted(std::optional<GeoClueRequest> wanted) {
  if (wanted_ == wanted) return;
  const bool sameLevel = wanted_ && wanted && wanted_->accuracyLevel == wanted->accuracyLevel;
  wanted_ = wanted;
  if (sameLevel) {
    if (!client_.empty()) setThresholds();
    return;
  }
  coarseIsSilent_ = false;
  silenceLimit_ = kFirstSilence;
  end();
  if (wanted) begin();
}

void GeoClue::begin() {
  level_ = coarseIsSilent_ ? kExact : wanted_->accuracyLevel;
  status_ = {Stage::starting, "GeoClue has not answered yet", ""};
  retryPause_.reset();
  service_ = std::make_unique<BusService>(
      kGeoClueName, queue_, [this](bool) { presenceChanged(); }, BusOptions{.mayStart = true});
}

/// The service forgets its clients when their connection ends.
void GeoClue::end() {
  service_.reset();
  dropClient();
  asking_ = false;
  status_ = {};
}

void GeoClue::dropClient() {
  if (service_ && !client_.empty()) service_->forgetSignals(client_);
  client_.clear();
  unreadLocation_.clear();
  reading_ = false;
  active_ = false;
  hasPosition_ = false;
  retry_.cancel();
  patience_.cancel();
  silence_.cancel();
}

void GeoClue::presenceChanged() {
  // Its answer, or its end, follows.
  if (asking_) return;
  const bool lost = !client_.empty();
  dropClient();
  switch (service_->presence()) {
    case BusPresence::unknown:
      break;
    case BusPresence::noBus:
      setStatus({Stage::unusable, "GeoClue is out of reach without a system bus",
                 "systemctl start dbus"});
      break;
    case BusPresence::absent:
      setStatus({Stage::unusable, "GeoClue is not there", "apt install geoclue-2.0"});
      break;
    case BusPresence::startable:
      if (lost) {
        fail("has ended", "systemctl restart geoclue");
        break;
      }
      [[fallthrough]];
    case BusPresence::present:
      getClient();
      break;
  }
}

void GeoClue::getClient() {
  asking_ = true;
  patience_.arm(queue_, kPatience, [this] {
    setStatus({Stage::unusable, "GeoClue waits for an agent that speaks for the user",
               "apt install geoclue-2-demo"});
  });
  service_->call({.path = kManagerPath,
                  .interface = kManager,
                  .method = "GetClient",
                  .replyType = "(o)",
                  .timeout = kPersonLimit},
                 [this](GVariant* reply, GUnixFDList*, const GError* error) {
                   asking_ = false;
                   patience_.cancel();
                   if (reply == nullptr) {
                     fail("gives no client: " + busErrorText(*error), "systemctl restart geoclue");
                     return;
                   }
                   const gchar* path = nullptr;
                   g_variant_get(reply, "(&o)", &path);
                   useClient(path);
                 });
}

void GeoClue::useClient(std::string path) {
  client_ = std::move(path);
  service_->onSignal(client_, kProperties, "PropertiesChanged", "(sa{sv}as)",
                     [this](GVariant* parameters) { activityChanged(parameters); });
  service_->onSignal(client_, kClient, "LocationUpdated", "(oo)", [this](GVariant* parameters) {
    const gchar* newest = nullptr;
    g_variant_get(parameters, "(&o&o)", nullptr, &newest);
    unreadLocation_ = newest;
    if (!reading_) readLocation();
  });
  setProperty("DesktopId", g_variant_new_string(desktopId_.c_str()));
  setProperty("RequestedAccuracyLevel", g_variant_new_uint32(level_));
  setThresholds();
  start();
}

void GeoClue::setThresholds() {
  setProperty("DistanceThreshold", g_variant_new_uint32(wanted_->distanceThreshold));
  setProperty("TimeThreshold", g_variant_new_uint32(wanted_->timeThreshold));
}

/// What is set wrong fails the start.
void GeoClue::setProperty(const char* name, GVariant* value) {
  service_->call({.path = client_,
                  .interface = kProperties,
                  .method = "Set",
                  .parameters = g_variant_new("(ssv)", kClient, name, value),
                  .replyType = "()"},
                 [](GVariant*, GUnixFDList*, const GError*) {});
}

void GeoClue::start() {
  if (permission_ != Permission::refused) {
    patience_.arm(queue_, kPatience, [this] {
      setStatus(
          {Stage::unusable, "GeoClue waits for the user's permission", "answer its question"});
    });
  }
  service_->call({.path = client_,
                  .interface = kClient,
                  .method = "Start",
                  .replyType = "()",
                  .timeout = kPersonLimit},
                 [this, client = client_](GVariant* reply, GUnixFDList*, const GError* error) {
                   if (client != client_) return;
                   patience_.cancel();
                   if (reply != nullptr) {
                     started();
                   } else {
                     startFailed(*error);
                   }
                 });
}

void GeoClue::startFailed(const GError& error) {
  if (g_error_matches(&error, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED) == FALSE) {
    fail("does not start: " + busErrorText(error), "systemctl restart geoclue");
    return;
  }
  // Nobody tells when that changes.
  retry();
  refused(busErrorText(error));
}

void GeoClue::started() {
  if (std::exchange(active_, true)) return;
  permission_ = Permission::given;
  retryPause_.reset();
  retry_.cancel();
  awaitPosition();
  setStatus({Stage::ready, "GeoClue runs but has no position yet", ""});
}

void GeoClue::awaitPosition() {
  silence_.arm(queue_, hasPosition_ ? kRenewal : silenceLimit_, [this] {
    if (!hasPosition_) {
      coarseIsSilent_ = true;
      silenceLimit_ = std::min(silenceLimit_ * 2, kLongestSilence);
    }
    end();
    begin();
  });
}

void GeoClue::refused(const std::string& reason) {
  active_ = false;
  permission_ = Permission::refused;
  silence_.cancel();
  setStatus({Stage::unusable, "GeoClue refuses positions to " + desktopId_ + ": " + reason,
             "allow location in the desktop's privacy settings"});
}

/// The service stops and starts its clients as the user takes and gives permission.
void GeoClue::activityChanged(GVariant* parameters) {
  GVariant* const changed = g_variant_get_child_value(parameters, 1);
  gboolean active = FALSE;
  const bool told = g_variant_lookup(changed, "Active", "b", &active) != FALSE;
  g_variant_unref(changed);
  if (!told || (active != FALSE) == active_) return;
  if (active != FALSE) {
    started();
  } else {
    refused("permission was taken away");
  }
}

void GeoClue::readLocation() {
  reading_ = true;
  const std::string path = std::exchange(unreadLocation_, "");
  service_->call({.path = path,
                  .interface = kProperties,
                  .method = "GetAll",
                  .parameters = g_variant_new("(s)", kLocation),
                  .replyType = "(a{sv})"},
                 [this, client = client_](GVariant* reply, GUnixFDList*, const GError*) {
                   if (client != client_) return;
                   reading_ = false;
                   if (!unreadLocation_.empty()) readLocation();
                   if (reply == nullptr) return;
                   GVariant* const properties = g_variant_get_child_value(reply, 0);
                   locationRead(properties);
                   g_variant_unref(properties);
                 });
}

void GeoClue::locationRead(GVariant* properties) {
  if (!active_) return;
  double latitude = std::numeric_limits<double>::quiet_NaN();
  double longitude = latitude;
  double uncertainty = latitude;
  g_variant_lookup(properties, "Latitude", "d", &latitude);
  g_variant_lookup(properties, "Longitude", "d", &longitude);
  const bool said = g_variant_lookup(properties, "Accuracy", "d", &uncertainty) != FALSE;
  auto report = positionReport(latitude, longitude, uncertainty);
  if (!report || !said) {
    if (std::exchange(saidWrongType_, true)) return;
    setStatus({Stage::unusable, "GeoClue sends positions that cannot be read",
               "systemctl restart geoclue"});
    return;
  }
  guint64 seconds = 0;
  guint64 microseconds = 0;
  if (g_variant_lookup(properties, "Timestamp", "(tt)", &seconds, &microseconds) != FALSE &&
      seconds != 0) {
    const double taken =
        static_cast<double>(seconds) + static_cast<double>(microseconds) * kMicrosecond;
    report->age = Seconds{std::max(secondsSince1970(clock_.now()) - taken, 0.0)};
  }
  hasPosition_ = true;
  awaitPosition();
  setStatus({Stage::ready, "GeoClue gives positions", ""});
  listener_.reported(*report);
}

void GeoClue::fail(std::string detail, std::string mend) {
  retry();
  setStatus({Stage::unusable, "GeoClue " + std::move(detail), std::move(mend)});
}

void GeoClue::retry() {
  retry_.arm(queue_, retryPause_.next(), [this] {
    if (!client_.empty()) {
      start();
    } else if (service_->presence() == BusPresence::present ||
               service_->presence() == BusPresence::startable) {
      getClient();
    }
  });
}

void GeoClue::setStatus(PositionSourceStatus status) {
  if (status == status_) return;
  status_ = std::move(status);
  listener_.statusChanged();
}

}  // namespace ks
