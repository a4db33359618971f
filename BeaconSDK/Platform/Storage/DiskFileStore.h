#pragma once

#include "BeaconSDK/Platform/Api/FileStore.h"

namespace ks {

/// The file store of every device with a POSIX file system.
class DiskFileStore : public FileStore {
 public:
  using FileStore::read;
  std::optional<Error> write(const std::filesystem::path& path,
                             std::span<const std::uint8_t> bytes) override;
  FileContent read(const std::filesystem::path& path, std::size_t limit) override;
  std::string setAside(const std::filesystem::path& path) override;
};

}  // namespace ks
