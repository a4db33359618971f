#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Error.h"
#include "tools/ksbeacon/portal/PortalOptions.h"

namespace ks::portal {

/// The code of the error that says that address and port cannot be had now; all other errors tell
/// of wrong options and files.
inline constexpr std::int64_t kPortalCannotListen = 2;

/// The development portal: an HTTP server on a thread of its own that serves portal documents from
/// a folder, checks credentials and records statistics.
///
/// Documents are re-read when their files change; a broken one, or that their folder is gone, is
/// reported through `onMessage` and the last good ones go on being served. Any thread may call any
/// operation.
class PortalServer {
 public:
  /// Reads the documents and begins to listen. An error names what is wrong: the document's file,
  /// line and member; the address or port; the certificate; the statistics file.
  static Result<std::shared_ptr<PortalServer>> start(PortalOptions options);
  /// Stops.
  ~PortalServer();
  PortalServer(const PortalServer&) = delete;
  PortalServer& operator=(const PortalServer&) = delete;

  std::uint16_t port() const;
  /// The root URL with the prefix: "http://127.0.0.1:8080/app".
  std::string url() const;

  /// Serves the documents of another folder, once what is under way has been answered; after an
  /// error the old ones on.
  Result<bool> setDocuments(const std::filesystem::path& folder);
  /// Adds a fault behind those at work.
  void addFault(Fault fault);
  void clearFaults();
  /// Those at work; the first that matches a request decides.
  std::vector<Fault> faults() const;

  /// Stops listening, lets requests that arrived whole finish, and closes the statistics file.
  /// Does nothing the second time.
  void stop();

 private:
  struct Impl;
  explicit PortalServer(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace ks::portal
