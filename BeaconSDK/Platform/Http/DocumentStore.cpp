#include "BeaconSDK/Platform/Http/DocumentStore.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <system_error>
#include <tuple>
#include <vector>

#include "BeaconSDK/Platform/Http/Digest.h"
#include "BeaconSDK/Platform/Http/HttpCaching.h"
#include "BeaconSDK/Platform/Storage/DiskFileStore.h"
#include "BeaconSDK/Platform/Storage/NewFile.h"

namespace ks {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kKeySize = 32;
constexpr const char* kKeyName = "key";
/// Of the capacity; what is left when room was made, so that it is made seldom.
constexpr double kKeptShare = 0.875;

/// The folder's hash key, made when it is missing; empty when it cannot be kept.
std::string folderKey(const fs::path& folder) {
  std::ifstream in(folder / kKeyName, std::ios::binary);
  std::string key(std::istreambuf_iterator<char>(in), {});
  if (key.size() == kKeySize) return key;
  key = randomBytes(kKeySize);
  const std::span<const char> bytes = key;
  return DiskFileStore().write(folder / kKeyName, bytesOf(bytes)) ? "" : key;
}

void setLastUse(const fs::path& path, Date moment) {
  const double seconds = secondsSince1970(moment);
  const double whole = std::floor(seconds);
  const timespec time{static_cast<time_t>(whole), static_cast<long>((seconds - whole) * 1e9)};
  const timespec times[2] = {time, time};
  ::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
}

std::uint64_t sizeOf(const fs::path& path) {
  std::error_code error;
  const auto size = fs::file_size(path, error);
  return error ? 0 : size;
}

struct Entry {
  fs::file_time_type lastUse;
  fs::path path;
  std::uint64_t size = 0;
};

/// All documents, the least recently used first.
std::vector<Entry> entriesIn(const fs::path& folder) {
  std::vector<Entry> entries;
  std::error_code error;
  for (fs::directory_iterator each(folder, error), end; !error && each != end;
       each.increment(error)) {
    std::error_code gone;
    const std::string name = each->path().filename();
    if (name == kKeyName || name.starts_with('.') || !each->is_regular_file(gone)) continue;
    entries.push_back({each->last_write_time(gone), each->path(), sizeOf(each->path())});
  }
  std::ranges::sort(entries, [](const Entry& a, const Entry& b) {
    return std::tie(a.lastUse, a.path) < std::tie(b.lastUse, b.path);
  });
  return entries;
}

}  // namespace

std::unique_ptr<DocumentStore> DocumentStore::open(const fs::path& directory,
                                                   const std::string& identifier,
                                                   std::uint64_t capacity) {
  if (directory.empty() || capacity == 0) return nullptr;
  auto folder = HttpCacheFolder::acquire(directory, identifier);
  if (!folder) return nullptr;
  std::string key = folderKey(folder->path());
  if (key.empty()) return nullptr;
  return std::unique_ptr<DocumentStore>(
      new DocumentStore(std::move(*folder), std::move(key), capacity));
}

fs::path DocumentStore::pathFor(const NSURLRequest& request) const {
  std::string text = request.url.absoluteString;
  for (const char* name : {"Accept-Language", "Authorization"}) {
    const std::string* value = request.headers.find(name);
    // No field's value has a line break.
    text += "\n" + (value != nullptr ? *value : "");
  }
  return folder_.path() / hmacSha256Hex(key_, text);
}

std::shared_ptr<StoredDocument> DocumentStore::find(const NSURLRequest& request, Date now) {
  if (!HttpCaching::isCacheable(request)) return nullptr;
  const fs::path path = pathFor(request);
  auto document = StoredDocument::open(path);
  if (!document || !HttpCaching::matches(request, document->selectingFields)) return nullptr;
  document->response.url = request.url;
  document->isFresh = HttpCaching::isFresh(document->response.headers, document->receivedAt, now);
  setLastUse(path, now);
  return document;
}

void DocumentStore::put(const NSURLRequest& request, const NSHTTPURLResponse& response,
                        const fs::path& body, Date now) {
  if (!HttpCaching::isCacheable(request)) return;
  if (!HttpCaching::mayStore(response)) return remove(request);
  StoredDocument document;
  document.response = response;
  document.receivedAt = now;
  document.selectingFields = HttpCaching::selectingFields(request, response.headers);
  const fs::path path = pathFor(request);
  auto file = NewFile::create(folder_.path(), "document");
  if (!file || sizeOf(body) > capacity_ || !document.write(file.value(), body)) {
    return remove(request);
  }
  setLastUse(file->path(), now);
  const std::uint64_t newSize = sizeOf(file->path());
  const std::uint64_t oldSize = sizeOf(path);
  if (!file.value().moveTo(path)) didReplace(oldSize, newSize);
}

void DocumentStore::remove(const NSURLRequest& request) {
  const fs::path path = pathFor(request);
  const std::uint64_t size = sizeOf(path);
  std::error_code ignored;
  if (fs::remove(path, ignored)) didReplace(size, 0);
}

void DocumentStore::didReplace(std::uint64_t oldSize, std::uint64_t newSize) {
  const std::lock_guard lock(mutex_);
  if (size_) *size_ = *size_ - std::min(oldSize, *size_) + newSize;
  if (!size_ || *size_ > capacity_) makeRoom();
}

void DocumentStore::makeRoom() {
  const std::vector<Entry> entries = entriesIn(folder_.path());
  std::uint64_t size = 0;
  for (const Entry& entry : entries) size += entry.size;
  const auto kept = static_cast<std::uint64_t>(static_cast<double>(capacity_) * kKeptShare);
  const bool isFull = size > capacity_;
  for (const Entry& entry : entries) {
    std::error_code ignored;
    if (!isFull || size <= kept) break;
    if (fs::remove(entry.path, ignored)) size -= entry.size;
  }
  size_ = size;
}

}  // namespace ks
