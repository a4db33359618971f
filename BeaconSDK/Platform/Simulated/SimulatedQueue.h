#pragma once

#include <cstddef>
#include <memory>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"

namespace ks {

/// A serial queue stepped by a simulated loop.
///
/// On the loop's thread, `sync` runs the queue's due tasks and then its own, in place; on another
/// thread it waits for the loop. So does `syncFor`, whose limit is virtual time on the loop's
/// thread and real time on another.
class SimulatedQueue : public DispatchQueue {
 public:
  /// The main queue also counts as current on the loop's thread while no task runs.
  enum class Role { main, other };

  explicit SimulatedQueue(std::shared_ptr<SimulatedLoop> loop, Role role = Role::other);
  SimulatedQueue(const SimulatedQueue&) = delete;
  SimulatedQueue& operator=(const SimulatedQueue&) = delete;
  ~SimulatedQueue() override;

  void async(Task task) override;
  void sync(const Task& task) override;
  bool syncFor(const Task& task, Seconds limit) override;
  TimerId after(Seconds delay, Task task) override;
  void cancel(TimerId timer) override;
  bool isCurrent() const override;

  /// Number of tasks and timers that have not begun to run.
  std::size_t pendingTasks() const;

 private:
  std::shared_ptr<SimulatedLoop> loop_;
  std::shared_ptr<SimulatedLoop::Lane> lane_;
};

}  // namespace ks
