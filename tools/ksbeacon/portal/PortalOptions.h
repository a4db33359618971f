#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"

namespace ks::portal {

/// A way to answer wrongly on purpose.
enum class FaultKind {
  /// Answers correctly after `Fault::delay`.
  latency,
  /// Answers with `Fault::status` and a message instead of the document.
  status,
  /// Announces the whole body, sends half of it and closes the connection.
  truncatedBody,
  /// Answers 200 with text that is not JSON.
  notJson,
  /// Sends the body in small pieces with `Fault::delay` between them.
  slowDrip,
  /// Closes the connection without an answer.
  droppedConnection,
  /// Sends half of the body in chunks, without a length, and closes the connection before the last.
  cutChunk,
  /// Answers 304, whether or not the request named a document that it has.
  notModified,
  /// Answers correctly and says that the reply may be kept for `Fault::delay`.
  maxAge,
};

struct Fault {
  FaultKind kind = FaultKind::status;
  int status = 500;
  Seconds delay{1};
  /// Only requests whose path below the prefix begins with this text ("/beacons"); empty: all.
  std::string path;
  /// How many further requests are answered so; 0: all.
  int count = 0;
};

/// One statistics event whose body had the documented shape.
struct PortalStatistic {
  /// "beacons" or "geofences".
  std::string zoneKind;
  /// "enter", "exit", "notification" or "content".
  std::string event;
  /// The body as it arrived, compact JSON.
  std::string body;
};

/// One answered request.
struct PortalRequest {
  std::string method;
  /// The path below the prefix, then "?" and the query when there is one, as they arrived.
  std::string target;
  /// 0 when a fault dropped the connection.
  int status = 0;
};

struct PortalOptions {
  /// The folder with categories.json, locations.json, beacons.json and geofences.json. A missing
  /// file is an empty list.
  std::filesystem::path documents;
  /// Path under which all endpoints lie; "" for none.
  std::string prefix = "/app";
  /// The Basic credentials that every request must carry; both empty: none are asked for.
  std::string username;
  std::string password;
  /// 0 picks a free port.
  std::uint16_t port = 0;
  /// An IP address; the default answers this machine only.
  std::string address = "127.0.0.1";
  /// Names of this machine under which requests may come, besides its addresses, "localhost" and
  /// its own name. Requests to other hosts, or from other sites' pages, are refused.
  std::vector<std::string> hostNames;
  /// How long a request may take to arrive whole, and a connection stay idle.
  Seconds requestTime{20};
  /// Connections at once; one more closes the one that has been idle or half-sent for longest.
  std::size_t maximumConnections = 100;
  /// PEM files; both or none.
  std::filesystem::path tlsCertificate;
  std::filesystem::path tlsKey;
  /// Statistics events are appended here, one JSON object a line; empty: not kept.
  std::filesystem::path statisticsFile;
  /// Faults at work from the start; the first that matches a request decides.
  std::vector<Fault> faults;
  /// Look at the folder's files on each request and serve what they hold now.
  bool reload = true;

  /// All run on the server's thread and must not call the server. Any may be empty.
  std::function<void(const PortalStatistic&)> onStatistic;
  std::function<void(const PortalRequest&)> onRequest;
  /// One line: what was wrong with a document that changed, or that it is served again; that
  /// connections cannot be taken for now.
  std::function<void(const std::string&)> onMessage;
};

}  // namespace ks::portal
