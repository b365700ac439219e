#pragma once

#include <stdexcept>
#include <string>

namespace tool {

/// What the program's exit says to scripts.
enum ExitCode : int {
  kDone = 0,
  kDefectsRemain = 1,
  kUsage = 2,
  kUnreadable = 3,
  kNotWritten = 4,
  kInternal = 70,
  kInterrupted = 130,
};

/// Ends a verb with one line for the user and an exit code.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace tool
