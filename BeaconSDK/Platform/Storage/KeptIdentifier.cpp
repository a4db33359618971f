#include "BeaconSDK/Platform/Storage/KeptIdentifier.h"

#include <algorithm>
#include <random>
#include <string>

#include "BeaconSDK/Platform/Storage/DiskFileStore.h"
#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks {

namespace {

UUID randomIdentifier() {
  std::random_device random;
  UUID uuid;
  std::ranges::generate(uuid.bytes, [&] { return static_cast<std::uint8_t>(random()); });
  uuid.bytes[6] = static_cast<std::uint8_t>((uuid.bytes[6] & 0x0F) | 0x40);
  uuid.bytes[8] = static_cast<std::uint8_t>((uuid.bytes[8] & 0x3F) | 0x80);
  return uuid;
}

}  // namespace

UUID keptIdentifier(const std::filesystem::path& file) {
  constexpr std::size_t kLongest = 1024;
  constexpr std::size_t kTextSize = 36;
  DiskFileStore store;
  const FileContent content = store.read(file, kLongest);
  const std::string text(content.bytes.begin(), content.bytes.end());
  if (const auto kept = UUID::fromString(text.substr(0, kTextSize))) return *kept;
  const UUID made = randomIdentifier();
  const std::string line = made.UUIDString() + "\n";
  const bool isUnreadable = content.state == FileContent::State::unreadable;
  if (!isUnreadable && !makePrivateFolder(file.parent_path())) {
    (void)store.write(file, Data(line.begin(), line.end()));
  }
  return made;
}

}  // namespace ks
