#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Writes messages to standard error: for the journal, when that reads it, each line with the
/// priority "<6>" (information); else with the application's name and process number. What
/// could play tricks on a terminal becomes a space, see `printable`. One message is one write.
class LinuxConsole : public Console {
 public:
  explicit LinuxConsole(const std::string& applicationName, int descriptor = 2);
  void log(std::string_view message) override;

 private:
  std::mutex mutex_;
  int descriptor_;
  std::string prefix_;
};

}  // namespace ks
