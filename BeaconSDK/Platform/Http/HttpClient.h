#pragma once

#include <libsoup/soup.h>

#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>

#include "BeaconSDK/Platform/Api/URLSession.h"
#include "BeaconSDK/Platform/Http/GLibOwned.h"
#include "BeaconSDK/Platform/Http/HttpCacheFolder.h"
#include "BeaconSDK/Platform/Http/HttpTransfer.h"
#include "BeaconSDK/Platform/Http/HttpWorker.h"

namespace ks {

struct HttpClientOptions {
  /// Names the cache's folder.
  std::string identifier;
  NSURLCacheConfiguration cache;
  int maximumConnectionsPerHost = 1;
  /// PEM file; empty: the system's trust alone.
  std::filesystem::path additionalCertificateAuthorities;
};

/// The worker's side of one session: connections, cache, and the order in which transfers take
/// their turns. Worker's thread only, its destruction included.
class HttpClient {
 public:
  HttpClient(HttpWorker& worker, HttpClientOptions options);
  /// Completes every transfer as cancelled, waits for what libsoup has under way, writes the cache.
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  /// Starts the transfer when its turn at its host comes. It is completed as cancelled at once when
  /// `cancelled`, and when `cancelAll` was called before.
  void add(HttpJob job, HttpTransfer::Completion completion, bool cancelled = false);
  /// Unknown identifiers are ignored.
  void cancel(std::uint64_t id);
  /// Completes every transfer as cancelled, in the order of their identifiers, for good.
  void cancelAll();

 private:
  struct Host {
    /// In the order of adding; those that were cancelled meanwhile are no longer in `transfers_`.
    std::deque<std::shared_ptr<HttpTransfer>> waiting;
    std::set<std::uint64_t> active;
    bool isStarting = false;
  };
  void startNext(const std::string& key);
  void didEnd(const std::string& key, std::uint64_t id);
  void openCache();
  void loadCertificateAuthorities();
  void prepareMessage(SoupMessage* message);

  HttpWorker& worker_;
  HttpClientOptions options_;
  GObjectOwned<SoupSession> session_;
  std::optional<HttpCacheFolder> cacheFolder_;
  GObjectOwned<SoupCache> cache_;
  GObjectOwned<GTlsDatabase> authorities_;
  /// Its use count is 1 when no transfer is left, not even one that only libsoup still holds.
  std::shared_ptr<const int> alive_ = std::make_shared<int>(0);
  bool cancelled_ = false;
  /// Added and not yet completed.
  std::map<std::uint64_t, std::shared_ptr<HttpTransfer>> transfers_;
  std::unordered_map<std::string, Host> hosts_;
  HttpTimer cacheWriting_;
};

}  // namespace ks
