#include "geom/model/keel/signals.h"

#include <algorithm>

namespace qvRTB {

namespace {

bool isAlive(const std::weak_ptr<ConnectionState>& connection) {
  const auto state = connection.lock();
  return state && state->connected;
}

}  // namespace

void SignalBase::disconnectAll() {
  for (const auto& connection : connections_)
    if (const auto state = connection.lock()) state->connected = false;
  connections_.clear();
}

int SignalBase::numConnections() const {
  return static_cast<int>(std::count_if(connections_.begin(), connections_.end(), isAlive));
}

void SignalBase::own(std::weak_ptr<ConnectionState> connection) {
  // Connections that ended elsewhere would otherwise pile up in a client that lives long.
  std::erase_if(connections_, [](const auto& c) { return !isAlive(c); });
  connections_.push_back(std::move(connection));
}

}  // namespace qvRTB
