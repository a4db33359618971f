#pragma once

#include <chrono>

namespace ks::tool {

/// A line on the terminal's error stream that shows how far long work is, from its first second on.
/// Shows nothing where the output goes to the same terminal or the errors go elsewhere.
class ProgressLine {
 public:
  ProgressLine();
  /// Clears the line.
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// `share` of the work is done, 0 to 1. May be called as often as it changes.
  void show(double share);

 private:
  using Clock = std::chrono::steady_clock;

  bool wanted_;
  bool shown_ = false;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point last_ = begin_;
};

}  // namespace ks::tool
