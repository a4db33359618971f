#include "tools/ksbeacon/output/OutputPlace.h"

#include <unistd.h>

#include <fstream>
#include <system_error>

#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks::tool {

bool canBeWritten(const std::filesystem::path& file) {
  std::error_code ignored;
  const auto folder = file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
  return !std::filesystem::is_directory(file, ignored) && ::access(folder.c_str(), W_OK) == 0;
}

bool canHoldFiles(const std::filesystem::path& folder) {
  return !makePrivateFolder(folder) && ::access(folder.c_str(), W_OK | X_OK) == 0;
}

bool writeText(const std::filesystem::path& file, const std::string& text) {
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream << text;
  stream.close();
  return stream.good();
}

}  // namespace ks::tool
