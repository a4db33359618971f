#pragma once

#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// What the library keeps on this device: the archives and statistics of its cache folder, the
/// portal's documents in the HTTP cache, and its user defaults. Each operation works on the current
/// platform's folders, with or without a manager.
namespace HeldData {

/// All of it, as plain JSON kinds: "files" lists each file with its path under the caches folder,
/// its bytes and, of an archive, its content; "defaults" the values by key. Records are
/// dictionaries with their class under "class", dates seconds since 1970, bytes Base64. The content
/// of a document of the HTTP cache is the portal's; only its size is told.
Dictionary all();

/// Removes all of it. A manager that lives would write it again: use `KSProximityManager::purge`.
void purge();

/// Removes the HTTP cache's documents. Sessions may go on: they find nothing there.
void removeDocuments();

/// Whether the cache folder takes a block of bytes; tried.
bool canWrite();

}  // namespace HeldData

}  // namespace ks
