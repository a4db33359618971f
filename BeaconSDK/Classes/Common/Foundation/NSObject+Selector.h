#pragma once

#include <tuple>
#include <type_traits>
#include <utility>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// A stored call of one member function that can be repeated. It has no target of its own;
/// arguments are default-constructed until they are set.
template <class Receiver, class Result, class... Args>
class NSInvocation {
 public:
  using Selector = Result (Receiver::*)(Args...);

  explicit NSInvocation(Selector selector) : selector_(selector) {}

  void setArguments(Args... arguments) {
    arguments_ = std::tuple<std::decay_t<Args>...>(std::forward<Args>(arguments)...);
  }
  Result invokeWithTarget(Receiver& target) {
    return std::apply(
        [&](auto&... arguments) -> Result {
          return (target.*selector_)(static_cast<Args>(arguments)...);
        },
        arguments_);
  }

 private:
  Selector selector_;
  std::tuple<std::decay_t<Args>...> arguments_;
};

namespace NSObjectSelector {

/// Runs `block` on the main queue and waits for it; on the main queue itself, runs it in place.
/// Deadlocks if the main queue waits for the caller.
void runOnMainQueue(const Task& block);
/// Runs `block` on the main queue after `delay`, truncated to whole nanoseconds. Returns
/// immediately.
void runOnMainQueue(Task block, Seconds delay);

template <class Receiver, class Result, class... Args>
NSInvocation<Receiver, Result, Args...> createInvocation(Result (Receiver::*selector)(Args...)) {
  return NSInvocation<Receiver, Result, Args...>(selector);
}

template <class Receiver, class Result, class... Args>
Result performInvocation(Receiver& receiver, NSInvocation<Receiver, Result, Args...>& invocation) {
  return invocation.invokeWithTarget(receiver);
}

}  // namespace NSObjectSelector

}  // namespace ks
