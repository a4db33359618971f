#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Storage/FileDescriptor.h"

namespace ks {

/// Ending of a file that has not reached its final place.
inline constexpr std::string_view kUnfinishedEnding = ".tmp";

/// Makes `folder` and its missing parents for their owner alone (0700 under any umask) and takes
/// other people's access away from `folder` when it exists and is ours. After a success the disk
/// has the new folders.
[[nodiscard]] std::optional<Error> makePrivateFolder(const std::filesystem::path& folder);

/// Removes what killed processes left directly in `folder`: regular files whose names end in
/// ".tmp". Only for a folder whose lock the caller holds. Faults are passed over.
void removeUnfinishedFiles(const std::filesystem::path& folder);

/// Removes everything in `folder`, keeping the folder. Faults are passed over.
void emptyFolder(const std::filesystem::path& folder);

/// The folder opened for `syncFolder`; an empty path is the current folder.
Result<FileDescriptor> openFolder(const std::filesystem::path& folder);
/// Makes the names in the folder durable: without it a power cut could undo a renaming.
[[nodiscard]] std::optional<Error> syncFolder(const FileDescriptor& opened,
                                              const std::filesystem::path& folder);

}  // namespace ks
