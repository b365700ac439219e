#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "geom/model/keel/export.h"

namespace qvRTB {

/// What a signal and its client both know about one connection.
struct ConnectionState {
  bool connected = true;
  bool active = true;
};

/// Handle on one connection; copies name the same one. Does not keep it alive: only the signal does, so a
/// callback may hold the handle on its own connection.
class Connection {
 public:
  Connection() = default;
  explicit Connection(std::weak_ptr<ConnectionState> state) : state_(std::move(state)) {}

  /// An inactive connection stays in place but is skipped.
  void setActive(bool active) {
    if (const auto state = state_.lock()) state->active = active;
  }
  void disconnect() {
    if (const auto state = state_.lock()) state->connected = false;
  }
  bool connected() const {
    const auto state = state_.lock();
    return state && state->connected;
  }

 private:
  std::weak_ptr<ConnectionState> state_;
};

/// Client that owns its connections: they end with it. A copy starts with none. Signals nothing itself.
class QVGEOM_API SignalBase {
 public:
  SignalBase() = default;
  SignalBase(const SignalBase&) noexcept {}
  SignalBase& operator=(const SignalBase&) noexcept { return *this; }
  ~SignalBase() { disconnectAll(); }

  void disconnectAll();
  /// Connections that neither side has dropped.
  int numConnections() const;

  /// Called by signals.
  void own(std::weak_ptr<ConnectionState> connection);

 private:
  std::vector<std::weak_ptr<ConnectionState>> connections_;
};

/// Calls every connected function, in the order of connecting. One thread at a time.
///
/// A callback may connect, disconnect (itself too), delete a client or even the signal: connections made
/// during an emission are first called in the next, and each one is tested for life before its call.
/// Copying or assigning a signal copies no connections.
template <typename... Args>
class Signal {
 public:
  using Function = std::function<void(Args...)>;

  Signal() : state_(std::make_shared<State>()) {}
  Signal(const Signal&) : Signal() {}
  Signal& operator=(const Signal&) noexcept { return *this; }
  ~Signal() {
    for (const auto& slot : state_->slots) slot->connected = false;
  }

  /// An empty function is not connected.
  Connection connect(SignalBase& client, Function function) {
    if (!function) return Connection();
    state_->prune();
    auto slot = std::make_shared<Slot>();
    slot->function = std::move(function);
    // Alive only once both sides have it: memory may run out in between, and the client would not end it.
    slot->connected = false;
    state_->slots.push_back(slot);
    client.own(slot);
    slot->connected = true;
    return Connection(slot);
  }
  template <typename Object>
  Connection connect(SignalBase& client, Object& object, void (Object::*member)(Args...)) {
    return connect(client, [&object, member](Args... args) { (object.*member)(args...); });
  }

  void emit(Args... args) {
    // Held here: a callback may destroy the signal.
    const std::shared_ptr<State> state = state_;
    ++state->emitting;
    const Emission emission{*state};
    const std::size_t end = state->slots.size();
    for (std::size_t i = 0; i < end; ++i) {
      const std::shared_ptr<Slot> slot = state->slots[i];
      if (slot->connected && slot->active) slot->function(args...);
    }
  }

  /// Whether no connection is alive, active or not.
  bool empty() const { return numConnections() == 0; }
  int numConnections() const {
    int n = 0;
    for (const auto& slot : state_->slots) n += slot->connected ? 1 : 0;
    return n;
  }

 private:
  struct Slot : ConnectionState {
    Function function;
  };
  struct State {
    std::vector<std::shared_ptr<Slot>> slots;
    int emitting = 0;

    // Dead slots may only leave while nobody counts positions.
    void prune() {
      if (emitting == 0) std::erase_if(slots, [](const auto& slot) { return !slot->connected; });
    }
  };
  struct Emission {
    State& state;
    // Callbacks that reconnect themselves would pile up in a signal that is never connected from outside.
    ~Emission() {
      --state.emitting;
      state.prune();
    }
  };

  std::shared_ptr<State> state_;
};

template <typename A>
using Signal1Arg = Signal<A>;

template <typename A, typename B>
using Signal2Args = Signal<A, B>;

}  // namespace qvRTB
