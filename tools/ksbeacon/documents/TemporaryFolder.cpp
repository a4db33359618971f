#include "tools/ksbeacon/documents/TemporaryFolder.h"

#include <stdexcept>
#include <utility>

namespace ks::tool {

TemporaryFolder::TemporaryFolder() {
  auto folder = ks::TemporaryFolder::make("ksbeacon");
  if (!folder) throw std::runtime_error(folder.error().localizedDescription());
  folder_ = std::move(folder.value());
}

TemporaryFolder TemporaryFolder::inMemory() {
  auto folder = ks::TemporaryFolder::makeInMemory("ksbeacon");
  return folder ? TemporaryFolder(std::move(folder.value())) : TemporaryFolder();
}

}  // namespace ks::tool
