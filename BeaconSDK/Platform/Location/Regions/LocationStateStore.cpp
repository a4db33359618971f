#include "BeaconSDK/Platform/Location/Regions/LocationStateStore.h"

#include <fstream>
#include <iterator>
#include <system_error>

namespace ks {

std::optional<Data> FileLocationStateStore::load() {
  std::ifstream file(path_, std::ios::binary);
  if (!file) return std::nullopt;
  Data data{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (file.bad()) return std::nullopt;
  return data;
}

bool FileLocationStateStore::save(const Data& data) {
  std::error_code error;
  std::filesystem::create_directories(path_.parent_path(), error);
  auto copy = path_;
  copy += ".new";
  {
    std::ofstream file(copy, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(data.data()),
               static_cast<std::streamsize>(data.size()));
    file.flush();
    if (!file) {
      std::filesystem::remove(copy, error);
      return false;
    }
  }
  std::filesystem::rename(copy, path_, error);
  return !error;
}

}  // namespace ks
