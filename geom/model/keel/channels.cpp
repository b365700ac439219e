#include "geom/model/keel/channels.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>

namespace qvOS {

struct DebugChannel::State {
  std::atomic<bool> connected{false};
  std::mutex mutex;
  Sink sink;
};

DebugChannel::DebugChannel() : state_(std::make_unique<State>()) {}
DebugChannel::~DebugChannel() = default;

void DebugChannel::setSink(Sink sink) {
  const std::lock_guard lock(state_->mutex);
  state_->connected.store(static_cast<bool>(sink), std::memory_order_release);
  state_->sink = std::move(sink);
}

void DebugChannel::print(char const* format, ...) {
  if (!state_->connected.load(std::memory_order_acquire)) return;
  va_list args;
  va_start(args, format);
  va_list measured;
  va_copy(measured, args);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, args);
  va_end(args);
  const std::lock_guard lock(state_->mutex);
  if (state_->sink) state_->sink(text.c_str());
}

struct AppOutput::State {
  std::mutex mutex;
  Sink sink;
};

AppOutput::AppOutput() : state_(std::make_unique<State>()) {}
AppOutput::~AppOutput() = default;

AppOutput& AppOutput::getInstance() {
  static AppOutput instance;
  return instance;
}

void AppOutput::setSink(Sink sink) {
  const std::lock_guard lock(state_->mutex);
  state_->sink = std::move(sink);
}

void AppOutput::info(char const* text) { send(Level::info, text); }
void AppOutput::error(char const* text) { send(Level::error, text); }

void AppOutput::send(Level level, char const* text) {
  const std::lock_guard lock(state_->mutex);
  if (state_->sink) state_->sink(level, text);
}

}  // namespace qvOS

namespace qvGeom {

qvOS::DebugChannel& debugChannel() {
  static qvOS::DebugChannel channel;
  return channel;
}

}  // namespace qvGeom
