#include "tools/ksbeacon/device/Journal.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "tools/ksbeacon/timeline/Timeline.h"

namespace ks::tool {

std::unique_ptr<Journal> Journal::ofOutput() {
  // What systemd.exec says of it: the device and the inode of the stream.
  const char* const stream = std::getenv("JOURNAL_STREAM");
  struct stat output = {};
  if (stream == nullptr || fstat(STDOUT_FILENO, &output) != 0) return nullptr;
  if (fmt::format("{}:{}", output.st_dev, output.st_ino) != stream) return nullptr;
  return at("/run/systemd/journal/socket");
}

std::unique_ptr<Journal> Journal::at(const std::filesystem::path& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.native().size() >= sizeof address.sun_path) return nullptr;
  std::ranges::copy(path.native(), address.sun_path);
  FileDescriptor descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
  if (!descriptor || connect(descriptor.get(), generic, sizeof address) != 0) return nullptr;
  return std::unique_ptr<Journal>(new Journal(std::move(descriptor)));
}

void Journal::send(const TimelineEvent& event, Date start) const {
  // No value holds a line's end: each field is one line.
  std::string fields = fmt::format("MESSAGE={}\nPRIORITY={}\nSYSLOG_IDENTIFIER=ksbeacon\n",
                                   printable(event.text), priorityOf(event));
  fields += fmt::format("KSBEACON_KIND={}\n", timelineKindName(event.kind));
  for (const auto& [field, member] : {std::pair{"CONTENT", "content"}, std::pair{"ZONE", "zone"}}) {
    const auto text = event.details[member].stringValue();
    if (text) fields += fmt::format("KSBEACON_{}={}\n", field, printable(*text));
  }
  if (sendText(fmt::format("{}KSBEACON_EVENT={}\n", fields, timelineJson(event, start)))) return;
  sendText(fields);
}

bool Journal::sendText(const std::string& text) const {
  return ::send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL) >= 0;
}

}  // namespace ks::tool
