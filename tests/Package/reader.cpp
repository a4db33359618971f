#include <cstdio>

#include "BeaconSDK/KSBeaconSDK.h"

/// Names no record class, and still gets the records of the archive that it is given.
int main(int argc, char** argv) {
  const auto archive = ks::NSKeyedUnarchiver::unarchiveObjectWithFile(argc > 1 ? argv[1] : "");
  const auto* const list = archive ? archive->array() : nullptr;
  const bool found =
      list != nullptr && list->items.size() == 1 && list->items.front().className() == "KSLocation";
  std::puts(found ? "reader: one location" : "reader: the archive's records are missing");
  return found ? 0 : 1;
}
