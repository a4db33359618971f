#pragma once

#include <filesystem>
#include <optional>

#include "BeaconSDK/Platform/Api/Value.h"
#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"

namespace ks {

/// Makes `folder` and its missing parents for their owner alone (0700), and takes other people's
/// access to `folder` away when it already exists. False when that cannot be done.
bool makePrivateFolder(const std::filesystem::path& folder);

/// Replaces the file at `path` as a whole, durably, readable and writable by its owner alone
/// (0600); its folder is made as above. False leaves the old file as it was. Any thread.
bool writePrivateFile(const std::filesystem::path& path, const Data& bytes);

/// The content of a regular file; nothing when it is missing, unreadable or longer than `limit`.
std::optional<Data> readFileUpTo(const std::filesystem::path& path, std::size_t limit);

/// The first line of a small text file without surrounding blanks; empty when there is none.
std::string readFirstLine(const std::filesystem::path& path);

/// The location engine's state in a private file.
class PrivateStateStore : public LocationStateStore {
 public:
  explicit PrivateStateStore(std::filesystem::path path) : path_(std::move(path)) {}
  std::optional<Data> load() override;
  bool save(const Data& data) override { return writePrivateFile(path_, data); }

 private:
  std::filesystem::path path_;
};

}  // namespace ks
