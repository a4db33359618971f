#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Linux/Bus/BusService.h"
#include "BeaconSDK/Platform/Linux/Bus/RetryPause.h"
#include "BeaconSDK/Platform/Linux/Positions/PositionReport.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

/// What a client asks of the positioning service.
struct GeoClueRequest {
  /// 8 exact, 6 street: the levels that the service knows and this library uses.
  std::uint32_t accuracyLevel = 8;
  /// In metres.
  std::uint32_t distanceThreshold = 0;
  /// In seconds: the service passes over positions that come sooner.
  std::uint32_t timeThreshold = 0;
  friend bool operator==(const GeoClueRequest&, const GeoClueRequest&) = default;
};
/// Exact up to 100 m, street beyond; moves of a tenth of the wanted uncertainty are reported, a
/// second sooner than the interval, since sources report once a second.
GeoClueRequest geoClueRequest(Metres accuracy, Seconds interval);

/// A client of the positioning service on the system bus (org.freedesktop.GeoClue2).
///
/// The bus connection and the client exist only while positions are wanted; the service is started
/// through the bus then. What fails is tried again after 5 s, doubled up to a minute; a service
/// that comes is used at once. A client that gets no position for a minute is replaced by a new
/// one, later clients after twice the time up to ten minutes, and one whose positions have stopped
/// after half an hour: the service does not look again by itself for a receiver that was missing,
/// and one that has only satellites has nothing coarse. Main thread only; nothing blocks.
class GeoClue {
 public:
  enum class Permission { unknown, given, refused };

  /// `desktopId` is the name by which users and the service's settings permit positions.
  GeoClue(Clock& clock, DispatchQueue& queue, std::string desktopId,
          PositionSourceListener listener);

  /// Absent ends everything. Another level takes a new client, other thresholds do not. Not from
  /// within a callback.
  void setWanted(std::optional<GeoClueRequest> wanted);
  /// The last word of the service, which also stands while it is away.
  Permission permission() const { return permission_; }
  const PositionSourceStatus& status() const { return status_; }

 private:
  void begin();
  void end();
  void presenceChanged();
  void dropClient();
  void getClient();
  void useClient(std::string path);
  void setThresholds();
  void setProperty(const char* name, GVariant* value);
  void start();
  void startFailed(const GError& error);
  void started();
  void refused(const std::string& reason);
  void activityChanged(GVariant* parameters);
  void awaitPosition();
  void readLocation();
  void locationRead(GVariant* properties);
  void fail(std::string detail, std::string mend);
  void retry();
  void setStatus(PositionSourceStatus status);

  Clock& clock_;
  DispatchQueue& queue_;
  const std::string desktopId_;
  PositionSourceListener listener_;

  std::optional<GeoClueRequest> wanted_;
  /// Nothing as coarse as was wanted came, so the exact sources are asked.
  bool coarseIsSilent_ = false;
  /// How long it may still be silent before a new client asks.
  Seconds silenceLimit_;
  Permission permission_ = Permission::unknown;
  PositionSourceStatus status_;
  std::unique_ptr<BusService> service_;
  /// The level that the client was asked for.
  std::uint32_t level_ = 0;
  /// Empty without a client.
  std::string client_;
  /// A request for a client is under way.
  bool asking_ = false;
  bool active_ = false;
  bool hasPosition_ = false;
  /// The newest position that was announced; empty when it has been read.
  std::string unreadLocation_;
  bool reading_ = false;
  bool saidWrongType_ = false;
  RetryPause retryPause_{Seconds{5}};
  Wakeup retry_;
  Wakeup patience_;
  Wakeup silence_;
};

}  // namespace ks
