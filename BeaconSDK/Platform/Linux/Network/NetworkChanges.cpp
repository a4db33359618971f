#include "BeaconSDK/Platform/Linux/Network/NetworkChanges.h"

#include <glib-unix.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <utility>

#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"

namespace ks {

namespace {

/// One change of the network is many reports: link, addresses, routes.
constexpr Seconds kBurst{0.05};

int openKernelReports() {
  const int file = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
  if (file < 0) return -1;
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups =
      RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
  if (::bind(file, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) return file;
  ::close(file);
  return -1;
}

/// Monitors that only look at routes know nothing that the routes do not tell better.
bool asksANetworkManager(GNetworkMonitor* monitor) {
  const std::string_view kind = G_OBJECT_TYPE_NAME(monitor);
  return kind == "GNetworkMonitorNM" || kind == "GNetworkMonitorPortal";
}

NetworkChanges::Connectivity connectivityOf(GNetworkMonitor* monitor) {
  if (!asksANetworkManager(monitor)) return NetworkChanges::Connectivity::unknown;
  if (!g_network_monitor_get_network_available(monitor)) {
    return NetworkChanges::Connectivity::none;
  }
  switch (g_network_monitor_get_connectivity(monitor)) {
    case G_NETWORK_CONNECTIVITY_LOCAL:
      return NetworkChanges::Connectivity::none;
    case G_NETWORK_CONNECTIVITY_PORTAL:
      return NetworkChanges::Connectivity::portal;
    default:
      // Limited: some hosts may be reachable, and the portal may be among them.
      return NetworkChanges::Connectivity::full;
  }
}

}  // namespace

struct NetworkChanges::Sources {
  /// Of the process; not ours to release.
  GNetworkMonitor* monitor = nullptr;
  gulong changedHandler = 0;
  gulong connectivityHandler = 0;
  int kernelReports = -1;
  GSource* kernelSource = nullptr;
};

NetworkChanges::NetworkChanges(DispatchQueue& mainQueue, std::function<void()> changed)
    : mainQueue_(mainQueue), changed_(std::move(changed)), sources_(std::make_unique<Sources>()) {
  sources_->monitor = g_network_monitor_get_default();
  const auto networkChanged = +[](GNetworkMonitor*, gboolean, gpointer self) {
    static_cast<NetworkChanges*>(self)->noteMonitor();
  };
  const auto connectivityChanged = +[](GObject*, GParamSpec*, gpointer self) {
    static_cast<NetworkChanges*>(self)->noteMonitor();
  };
  sources_->changedHandler =
      g_signal_connect(sources_->monitor, "network-changed", G_CALLBACK(networkChanged), this);
  sources_->connectivityHandler = g_signal_connect(sources_->monitor, "notify::connectivity",
                                                   G_CALLBACK(connectivityChanged), this);
  connectivity_ = connectivityOf(sources_->monitor);

  sources_->kernelReports = openKernelReports();
  if (sources_->kernelReports < 0) return;
  sources_->kernelSource = g_unix_fd_source_new(sources_->kernelReports, G_IO_IN);
  const GUnixFDSourceFunc arrived = [](gint, GIOCondition, gpointer self) -> gboolean {
    static_cast<NetworkChanges*>(self)->drainKernelReports();
    return G_SOURCE_CONTINUE;
  };
  g_source_set_callback(sources_->kernelSource, G_SOURCE_FUNC(arrived), this, nullptr);
  g_source_attach(sources_->kernelSource, g_main_context_get_thread_default());
}

NetworkChanges::~NetworkChanges() {
  g_signal_handler_disconnect(sources_->monitor, sources_->changedHandler);
  g_signal_handler_disconnect(sources_->monitor, sources_->connectivityHandler);
  if (sources_->kernelSource != nullptr) {
    g_source_destroy(sources_->kernelSource);
    g_source_unref(sources_->kernelSource);
  }
  if (sources_->kernelReports >= 0) ::close(sources_->kernelReports);
}

void NetworkChanges::noteMonitor() {
  connectivity_ = connectivityOf(sources_->monitor);
  announceSoon();
}

void NetworkChanges::drainKernelReports() {
  std::array<std::uint8_t, 8192> report{};
  // What the reports say is looked up when somebody asks; an overflow of their queue is one too.
  while (::recv(sources_->kernelReports, report.data(), report.size(), 0) >= 0 || errno == EINTR ||
         errno == ENOBUFS) {
  }
  announceSoon();
}

void NetworkChanges::announceSoon() {
  if (!announcement_.isArmed()) announcement_.arm(mainQueue_, kBurst, [this] { changed_(); });
}

}  // namespace ks
