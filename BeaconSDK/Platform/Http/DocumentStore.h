#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/URLSession.h"
#include "BeaconSDK/Platform/Http/HttpCacheFolder.h"
#include "BeaconSDK/Platform/Http/StoredDocument.h"

namespace ks {

/// The private HTTP cache of one session: one file per document in a folder of its own, named by a
/// keyed hash of URL, language and credentials, so that users and languages never see each other's
/// documents and file names tell nothing. Files appear whole or not at all; a damaged one counts as
/// absent. A file's modification time is the document's last use on the device's clock; beyond the
/// capacity the least recently used ones go.
///
/// Requests are given as they go out, with the session's fields. Any thread.
class DocumentStore {
 public:
  /// `capacity` in bytes. Null when there is no folder to be had.
  static std::unique_ptr<DocumentStore> open(const std::filesystem::path& directory,
                                             const std::string& identifier, std::uint64_t capacity);

  /// The document that may answer `request` at `now`, once it is confirmed unless it is fresh; null
  /// for none. Reads its head only.
  std::shared_ptr<StoredDocument> find(const NSURLRequest& request, Date now);
  /// Keeps a reply whose body is in the file `body`, replacing an earlier one. What the rules of
  /// `HttpCaching` do not allow is dropped instead, as is what cannot be written.
  void put(const NSURLRequest& request, const NSHTTPURLResponse& response,
           const std::filesystem::path& body, Date now);
  void remove(const NSURLRequest& request);

 private:
  DocumentStore(HttpCacheFolder folder, std::string key, std::uint64_t capacity)
      : folder_(std::move(folder)), key_(std::move(key)), capacity_(capacity) {}

  std::filesystem::path pathFor(const NSURLRequest& request) const;
  void didReplace(std::uint64_t oldSize, std::uint64_t newSize);
  void makeRoom();

  const HttpCacheFolder folder_;
  const std::string key_;
  const std::uint64_t capacity_;
  std::mutex mutex_;
  /// Bytes of all documents; unknown until the first one is kept.
  std::optional<std::uint64_t> size_;
};

}  // namespace ks
