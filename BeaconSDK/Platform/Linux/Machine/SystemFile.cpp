#include "BeaconSDK/Platform/Linux/Machine/SystemFile.h"

#include "BeaconSDK/Platform/Storage/DiskFileStore.h"

namespace ks {

std::string readSystemFile(const std::filesystem::path& path) {
  constexpr std::size_t kLongest = std::size_t{64} * 1024;
  const FileContent content = DiskFileStore().read(path, kLongest);
  return {content.bytes.begin(), content.bytes.end()};
}

std::string readFirstLine(const std::filesystem::path& path) {
  const std::string text = readSystemFile(path);
  const std::string line = text.substr(0, text.find('\n'));
  const auto first = line.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return line.substr(first, line.find_last_not_of(" \t\r") - first + 1);
}

}  // namespace ks
