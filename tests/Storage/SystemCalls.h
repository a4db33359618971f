#pragma once

#include <functional>
#include <string>
#include <vector>

namespace ks::test {

/// What the storage asks of the system, call by call: open, write, fsync, rename, unlink, read,
/// fstat and flock go through here. One test at a time.
struct SystemCall {
  std::string name;
  /// The file that an open, rename or unlink names, or that the descriptor was opened as.
  std::string path;
  /// Where a rename leads.
  std::string target;
  /// What a write wrote.
  std::string bytes;
};

class SystemCalls {
 public:
  /// Called before each call; an errno that it returns other than 0 fails the call.
  using Hook = std::function<int(const SystemCall&)>;
  explicit SystemCalls(Hook hook);
  SystemCalls(const SystemCalls&) = delete;
  SystemCalls& operator=(const SystemCalls&) = delete;
  ~SystemCalls();
};

}  // namespace ks::test
