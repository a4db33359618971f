#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedArchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSObject+AutoCodingFiles.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyListValues.h"

namespace ks::NSObjectAutoCoding {

bool writeToFile(const Value& value, const std::filesystem::path& path, bool /*atomically*/) {
  return NSKeyedArchiver::archiveRootObject(value, path);
}

Value objectWithContentsOfFile(const std::filesystem::path& path) {
  auto bytes = readFile(path);
  if (!bytes) return {};
  auto list = NSPropertyListSerialization::parse(*bytes);
  if (!list) return std::move(*bytes);
  if (NSKeyedUnarchiver::isArchive(*list)) {
    NSKeyedUnarchiver unarchiver(std::move(list.value()));
    Value root = unarchiver.decodeObjectForKey(NSKeyedArchiveRootObjectKey);
    return unarchiver.error() ? Value() : root;
  }
  auto value = valueFromPropertyList(*list);
  return value ? std::move(value.value()) : Value(std::move(*bytes));
}

}  // namespace ks::NSObjectAutoCoding
