#pragma once

#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// The data that the library stores on this device: the archives and statistics of its cache
/// folder, the portal's documents in the HTTP cache, and its user defaults. All operations use the
/// current platform's folders and need no manager.
namespace HeldData {

/// Returns all of it as plain JSON kinds: "files" lists each file with its path below the caches
/// folder, its size in bytes and, for an archive, its content; "defaults" holds the values by key.
/// Records are dictionaries with their class under "class", dates seconds since 1970, bytes Base64.
/// For documents of the HTTP cache only the size is given.
Dictionary all();

/// Removes all of it. While a manager exists, which would write it again, use
/// `KSProximityManager::purge`.
void purge();

/// Removes the HTTP cache's documents. Open sessions fetch them again.
void removeDocuments();

/// Tests whether the cache folder is writable, by writing a small file.
bool canWrite();

}  // namespace HeldData

}  // namespace ks
