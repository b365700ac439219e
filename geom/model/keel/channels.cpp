#include "geom/model/keel/channels.h"

#include <atomic>
#include <cstdarg>
#include <mutex>
#include <string>
#include <utility>

#include "geom/model/keel/format.h"

namespace qvOS {

namespace {

// Holds a sink and lets one message through at a time. A host's sink may itself come back here, by way of an
// event loop for instance: it may replace the sink, and messages that it causes are dropped, since they
// could only wait for themselves or recur without end.
template <typename... Args>
class Gate {
 public:
  using Sink = std::function<void(Args...)>;

  void setSink(Sink sink) {
    auto shared = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
    const std::lock_guard lock(mutex_);
    connected_.store(shared != nullptr, std::memory_order_release);
    sink_.swap(shared);  // the old one dies when nobody holds the lock
  }
  bool connected() const { return connected_.load(std::memory_order_acquire); }
  void send(Args... args) {
    const std::lock_guard lock(mutex_);
    if (sending_ || !sink_) return;
    const std::shared_ptr<const Sink> current = sink_;
    sending_ = true;
    const Sending sending{sending_};
    (*current)(args...);
  }

 private:
  struct Sending {
    bool& flag;
    ~Sending() { flag = false; }
  };

  std::atomic<bool> connected_{false};
  std::recursive_mutex mutex_;  // guards what follows
  bool sending_ = false;
  std::shared_ptr<const Sink> sink_;
};

}  // namespace

struct DebugChannel::State {
  Gate<char const*> gate;
};

DebugChannel::DebugChannel() : state_(std::make_unique<State>()) {}
DebugChannel::~DebugChannel() = default;

void DebugChannel::setSink(Sink sink) { state_->gate.setSink(std::move(sink)); }

void DebugChannel::print(char const* format, ...) {
  if (!state_->gate.connected()) return;
  std::va_list args;
  va_start(args, format);
  const std::string text = qvString::formatText(format, args);
  va_end(args);
  state_->gate.send(text.c_str());
}

struct AppOutput::State {
  Gate<Level, char const*> gate;
};

AppOutput::AppOutput() : state_(std::make_unique<State>()) {}
AppOutput::~AppOutput() = default;

AppOutput& AppOutput::getInstance() {
  static AppOutput instance;
  return instance;
}

void AppOutput::setSink(Sink sink) { state_->gate.setSink(std::move(sink)); }

void AppOutput::info(char const* text) { send(Level::info, text); }
void AppOutput::error(char const* text) { send(Level::error, text); }

void AppOutput::send(Level level, char const* text) { state_->gate.send(level, text ? text : ""); }

}  // namespace qvOS

namespace qvGeom {

qvOS::DebugChannel& debugChannel() {
  static qvOS::DebugChannel channel;
  return channel;
}

}  // namespace qvGeom
