#pragma once

#include <functional>
#include <memory>

#include "geom/model/keel/export.h"

#if defined(__GNUC__)
#define QVGEOM_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define QVGEOM_PRINTF(text, first)
#endif

namespace qvOS {

/// Diagnostic text for developers of the host. Goes nowhere until the host installs a sink; without one a
/// message costs a branch and is not formatted.
class QVGEOM_API DebugChannel {
 public:
  using Sink = std::function<void(char const* text)>;

  DebugChannel();
  ~DebugChannel();
  DebugChannel(const DebugChannel&) = delete;
  DebugChannel& operator=(const DebugChannel&) = delete;

  /// Installs the receiver of all later messages; an empty one switches the channel off. Safe at any time:
  /// a message that is under way goes to the sink it started with.
  void setSink(Sink sink);
  /// One message, complete with its own line ends. The sink is called on this thread, by one thread at a
  /// time. It may set another sink; what is printed while it runs, by itself, is dropped.
  void print(char const* format, ...) QVGEOM_PRINTF(2, 3);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// Messages meant for the user of the application. Text is taken as it is: a percent sign is data, and null
/// counts as empty. The rules for sinks are those of DebugChannel.
class QVGEOM_API AppOutput {
 public:
  enum class Level { info, error };
  using Sink = std::function<void(Level level, char const* text)>;

  static AppOutput& getInstance();

  void setSink(Sink sink);
  void info(char const* text);
  void error(char const* text);

 private:
  AppOutput();
  ~AppOutput();
  void send(Level level, char const* text);
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace qvOS

namespace qvGeom {

/// The channel on which every timed operation of this library names itself, its counts and its seconds.
QVGEOM_API qvOS::DebugChannel& debugChannel();

}  // namespace qvGeom
