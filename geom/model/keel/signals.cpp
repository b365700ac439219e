#include "geom/model/keel/signals.h"

#include <algorithm>

namespace qvRTB {

void SignalBase::disconnectAll() {
  for (const auto& connection : connections_) connection->connected = false;
  connections_.clear();
}

int SignalBase::numConnections() const {
  return static_cast<int>(
      std::count_if(connections_.begin(), connections_.end(), [](const auto& c) { return c->connected; }));
}

void SignalBase::own(std::shared_ptr<ConnectionState> connection) {
  // Connections that ended elsewhere would otherwise pile up in a client that lives long.
  std::erase_if(connections_, [](const auto& c) { return !c->connected; });
  connections_.push_back(std::move(connection));
}

}  // namespace qvRTB
