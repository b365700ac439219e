#pragma once

#include <chrono>
#include <string>

#include "geom/qvGeom.h"

namespace tool {

/// Elements that a plain loop looks at between questions for an interruption.
inline constexpr int kInterruptRhythm = 1 << 16;

/// Everything the program says on standard error, and the way Ctrl-C comes in. Data goes to standard output
/// and never through here.
///
/// The progress bar is drawn on a terminal only, and only for work that takes long enough to read it.
class Console {
 public:
  Console();
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// Leaves out notes, warnings and the bar; errors remain.
  void setQuiet() { quiet_ = true; }
  /// Shows the library's debug channel, and all its messages to users; without this only errors, as warnings.
  void setVerbose();

  /// Tells what was done.
  void note(const std::string& message);
  void warn(const std::string& message);
  void error(const std::string& message);

  /// The progress of the whole program; a Ctrl-C or a request to terminate cancels it.
  qvUtil::Progress& progress() { return progress_; }
  /// Throws the failure that ends an interrupted program, if it was.
  void throwIfInterrupted();

 private:
  using Clock = std::chrono::steady_clock;

  void draw(double fraction, char const* caption);
  void clearBar();
  void print(const std::string& line);
  void showMessage(bool isError, std::string text);

  qvUtil::Progress progress_;
  bool quiet_ = false;
  bool verbose_ = false;
  bool terminal_;
  bool barShown_ = false;
  Clock::time_point start_;
  Clock::time_point lastDraw_;
};

}  // namespace tool
