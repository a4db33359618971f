#include "tools/ksbeacon/documents/TemporaryFolder.h"

#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace ks::tool {

TemporaryFolder::TemporaryFolder() {
  auto folder = ks::TemporaryFolder::make("ksbeacon");
  if (!folder) throw std::runtime_error(folder.error().localizedDescription());
  folder_ = std::move(folder.value());
}

TemporaryFolder TemporaryFolder::inMemory() {
  constexpr const char* kMemory = "/dev/shm";
  if (std::getenv("TMPDIR") == nullptr) {
    auto folder = ks::TemporaryFolder::make("ksbeacon", kMemory);
    if (folder) return TemporaryFolder(std::move(folder.value()));
  }
  return {};
}

}  // namespace ks::tool
