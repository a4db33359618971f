#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

/// Runs one program again and again, each time with another text on its standard input, without a
/// shell and without holding the main loop. At most `kAtOnce` run at a time and `kWaiting` texts
/// wait for their turn; further ones are dropped. A program that runs for longer than `kLongest` is
/// killed. What it writes to its standard output is discarded. Main thread; what still runs is
/// killed with the object.
class HelperPrograms {
 public:
  static constexpr std::size_t kAtOnce = 4;
  static constexpr std::size_t kWaiting = 64;
  static constexpr Seconds kLongest{30};

  /// `complain` is told in one sentence what went wrong, the same sentence not twice in a row.
  HelperPrograms(std::string program, DispatchQueue& mainQueue,
                 std::function<void(const std::string&)> complain);
  HelperPrograms(const HelperPrograms&) = delete;
  HelperPrograms& operator=(const HelperPrograms&) = delete;
  ~HelperPrograms();

  void run(std::string input);
  bool isIdle() const { return running_.empty(); }

 private:
  struct Run;
  void begin(const std::string& input);
  void ended(Run* run);
  void complainOnce(const std::string& text);

  const std::string program_;
  DispatchQueue& mainQueue_;
  std::function<void(const std::string&)> complain_;
  std::string complained_;
  std::list<std::unique_ptr<Run>> running_;
  std::deque<std::string> waiting_;
};

/// Opens a page with the desktop's program for its scheme. Only "http://" and "https://" are
/// opened: a portal names pages, not files and programs. `failed` is told why, later; main thread.
void openPage(const std::string& url, const std::function<void(const std::string&)>& failed);

}  // namespace ks
