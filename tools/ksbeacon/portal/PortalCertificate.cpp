#include "tools/ksbeacon/portal/PortalCertificate.h"

#include <sys/socket.h>

#include <array>
#include <future>
#include <string>
#include <utility>

namespace ks::portal {

namespace {

/// The ends of a connection within the process; null when there can be none.
std::array<GObjectOwned<GIOStream>, 2> connectedStreams() {
  constexpr guint kTimeout = 5;
  std::array<int, 2> descriptors{};
  std::array<GObjectOwned<GIOStream>, 2> streams;
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, descriptors.data()) != 0) return streams;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    const GObjectOwned<GSocket> socket(g_socket_new_from_fd(descriptors.at(i), nullptr));
    if (!socket) continue;
    g_socket_set_timeout(socket.get(), kTimeout);
    streams.at(i).reset(G_IO_STREAM(g_socket_connection_factory_create_connection(socket.get())));
  }
  return streams;
}

/// Shakes hands and closes; says what went wrong, or "".
std::string shakeHands(GIOStream* connection) {
  GError* error = nullptr;
  g_tls_connection_handshake(G_TLS_CONNECTION(connection), nullptr, &error);
  const GLibOwned<GError> owned(error);
  g_io_stream_close(connection, nullptr, nullptr);
  return error == nullptr ? "" : error->message;
}

/// What a client has against the certificate, apart from whom it names and who signed it.
std::string objectionTo(GTlsCertificate* certificate) {
  const auto [clientStream, serverStream] = connectedStreams();
  if (!clientStream || !serverStream) return "there is no connection to try them on";
  const GObjectOwned<GIOStream> client(
      g_tls_client_connection_new(clientStream.get(), nullptr, nullptr));
  const GObjectOwned<GIOStream> server(
      g_tls_server_connection_new(serverStream.get(), certificate, nullptr));
  if (!client || !server) return "there is no TLS";
  g_signal_connect(client.get(), "accept-certificate",
                   G_CALLBACK(+[](GTlsConnection*, GTlsCertificate*, GTlsCertificateFlags,
                                  gpointer) -> gboolean { return TRUE; }),
                   nullptr);
  // What becomes of the server's end after the client's is closed does not count.
  const auto served = std::async(std::launch::async, [&server] { shakeHands(server.get()); });
  return shakeHands(client.get());
}

}  // namespace

Result<GObjectOwned<GTlsCertificate>> readServerCertificate(const std::filesystem::path& file,
                                                            const std::filesystem::path& key) {
  GError* error = nullptr;
  GObjectOwned<GTlsCertificate> certificate(
      g_tls_certificate_new_from_files(file.c_str(), key.c_str(), &error));
  const GLibOwned<GError> owned(error);
  if (!certificate) return Error("Portal", 1, std::string("certificate or key: ") + error->message);
  const std::string objection = objectionTo(certificate.get());
  if (!objection.empty()) {
    return Error("Portal", 1,
                 key.string() + ": not the key of " + file.string() +
                     ", or no client takes them: " + objection);
  }
  return certificate;
}

}  // namespace ks::portal
