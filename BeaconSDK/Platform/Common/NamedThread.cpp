#include "BeaconSDK/Platform/Common/NamedThread.h"

#include <pthread.h>

#include <string>
#include <system_error>
#include <utility>

namespace ks {

std::thread startThread(const char* name, std::function<void()> run) {
  constexpr std::size_t kLongestName = 15;
  try {
    std::thread thread(std::move(run));
    pthread_setname_np(thread.native_handle(), std::string(name).substr(0, kLongestName).c_str());
    return thread;
  } catch (const std::system_error& error) {
    throw std::system_error(error.code(), "cannot start the thread '" + std::string(name) + "'");
  }
}

}  // namespace ks
