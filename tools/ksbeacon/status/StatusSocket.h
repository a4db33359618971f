#pragma once

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Storage/FileDescriptor.h"

namespace ks::tool {

/// Where the service of this user with these files listens: in the service manager's runtime folder
/// (`$RUNTIME_DIRECTORY`), else in the user's (`$XDG_RUNTIME_DIR`), else in one beside the
/// temporary files. `state` is the folder given with `--state`; empty for the user's own.
std::filesystem::path statusSocketPath(const std::filesystem::path& state);

/// Before the name of a content or a zone: asks why it fired or not.
inline constexpr const char* kWhyRequest = "why ";

/// Tells whoever connects to a socket of the file system how the program is: one request and one
/// reply per connection, one connection at a time, then the end. Only the socket's owner may
/// connect. A request ends with a line end, or when the caller has nothing more to say.
class StatusSocket {
 public:
  /// Makes one line of JSON for a request, which may be empty; called on the main queue.
  using Answer = std::function<std::string(const std::string& request)>;

  /// Replaces the socket of a process that is gone. An error when another one listens there, or
  /// when the socket cannot be made.
  static Result<std::unique_ptr<StatusSocket>> open(const std::filesystem::path& path,
                                                    DispatchQueue& mainQueue, Answer answer);
  StatusSocket(const StatusSocket&) = delete;
  StatusSocket& operator=(const StatusSocket&) = delete;
  /// Removes the socket. `mainQueue` must still be there; its thread.
  ~StatusSocket();

 private:
  /// How long the main queue has to make the answer; then the reply says that it is stuck.
  static constexpr std::chrono::milliseconds kPatience{2000};

  /// What the tasks on the main queue may still touch when the socket is gone.
  struct Exchange {
    std::mutex mutex;
    std::condition_variable changed;
    bool isStopping = false;
    Answer answer;
    std::uint64_t asked = 0;
    std::uint64_t answered = 0;
    std::string text;
  };

  StatusSocket(std::filesystem::path path, FileDescriptor listener, FileDescriptor stopper,
               DispatchQueue& mainQueue, Answer answer);
  void serve();
  std::string reply(const std::string& request);

  const std::filesystem::path path_;
  FileDescriptor listener_;
  FileDescriptor stopper_;
  DispatchQueue& mainQueue_;
  std::shared_ptr<Exchange> exchange_ = std::make_shared<Exchange>();
  std::thread thread_;
};

/// The reply of the service at `path`, at most `kLongestReply` bytes within 5 s. The error says why
/// there is none.
Result<std::string> askService(const std::filesystem::path& path, const std::string& request = "");
/// The same of the user's own service; with an empty `state`, else of the machine's.
Result<std::string> askEitherService(const std::string& state, const std::string& request = "");
inline constexpr std::size_t kLongestReply = std::size_t{64} * 1024;

}  // namespace ks::tool
