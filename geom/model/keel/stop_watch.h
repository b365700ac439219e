#pragma once

#include <chrono>

namespace qvOS {

/// Measures spans of wall time on a clock that never goes back. Stopped and at zero when created.
class StopWatch {
 public:
  /// Begins timing; a running watch goes on undisturbed.
  void start() {
    if (!running_) begin_ = Clock::now();
    running_ = true;
  }
  /// Ends timing. @return seconds measured since the last reset
  double stop() {
    if (running_) elapsed_ += Clock::now() - begin_;
    running_ = false;
    return std::chrono::duration<double>(elapsed_).count();
  }
  /// Ends timing and resets. @return seconds measured since the last reset; the watch is stopped and at zero
  double clear() {
    const double seconds = stop();
    elapsed_ = {};
    return seconds;
  }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point begin_{};
  Clock::duration elapsed_{};
  bool running_ = false;
};

}  // namespace qvOS
