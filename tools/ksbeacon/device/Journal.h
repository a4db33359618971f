#pragma once

#include <filesystem>
#include <memory>

#include "BeaconSDK/Platform/Storage/FileDescriptor.h"
#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// The system's journal, where it takes the standard output: each event is an entry with a priority
/// and the fields KSBEACON_KIND, KSBEACON_CONTENT, KSBEACON_ZONE and KSBEACON_EVENT (the JSON).
class Journal {
 public:
  /// Null where the standard output goes elsewhere, or the journal's socket cannot be had.
  static std::unique_ptr<Journal> ofOutput();
  /// Null when nobody listens at the socket.
  static std::unique_ptr<Journal> at(const std::filesystem::path& socket);

  /// `start` is the moment from which events count. An entry that cannot be sent is lost; one that
  /// is too long goes without its JSON.
  void send(const TimelineEvent& event, Date start) const;

 private:
  explicit Journal(FileDescriptor socket) : socket_(std::move(socket)) {}
  bool sendText(const std::string& text) const;

  FileDescriptor socket_;
};

}  // namespace ks::tool
