#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>

#include "BeaconSDK/Platform/Http/CurlRequest.h"
#include "BeaconSDK/Platform/Http/HttpTransfer.h"
#include "BeaconSDK/Platform/Http/HttpWorker.h"

namespace ks {

/// The worker's side of one session: its transfers and the order in which they take their turns.
/// Worker's thread only, its destruction included.
class HttpClient {
 public:
  /// Both references must stay valid as long as the object lives.
  HttpClient(HttpWorker& worker, const CurlRequestOptions& options, int maximumConnectionsPerHost);
  /// Completes every transfer as cancelled.
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

  HttpWorker& worker_;
  const CurlRequestOptions& options_;
  const std::size_t maximumPerHost_;
  bool cancelled_ = false;
  /// Added and not yet completed.
  std::map<std::uint64_t, std::shared_ptr<HttpTransfer>> transfers_;
  std::unordered_map<std::string, Host> hosts_;
};

}  // namespace ks
