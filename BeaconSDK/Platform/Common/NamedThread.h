#pragma once

#include <functional>
#include <thread>

namespace ks {

/// Starts a thread that runs `run`. `name` shows in debuggers; at most 15 characters of it. Throws
/// `std::system_error`, naming the thread, if the system has none to give.
std::thread startThread(const char* name, std::function<void()> run);

}  // namespace ks
