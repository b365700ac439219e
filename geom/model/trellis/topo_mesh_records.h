#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "geom/model/keel/containers.h"
#include "geom/model/trellis/topo_mesh.h"

// How the records of a half-edge mesh are stored and walked; shared by the sources of TopoMesh alone.
//
// A corner of a face is known by the half-edge that leaves it. Turning about a vertex leads from a corner to
// twin(prev); where that twin is missing the fan ends. Both steps are one to one, so that the corners at a
// vertex fall apart into rings (closed fans) and chains (open fans) whatever the faces look like, and every
// walk below ends.

namespace qvGeom {
namespace topo {

/// Records in blocks that never move and are never used twice: a handle outlives its element. Each block ends
/// with a place that is never taken.
template <typename Record>
class Pool {
 public:
  /// Makes the next n takes certain. Leaves a shorter rest of the last block unused.
  void reserve(std::size_t n) {
    if (static_cast<std::size_t>(end_ - next_) >= n) return;
    const std::size_t size = std::max(n, blockSize_);
    blocks_.push_back(std::make_unique<Record[]>(size + 1));
    Record* const block = blocks_.back().get();
    if (next_) next_->nextBlock = block;
    next_ = block;
    end_ = block + size;
    blockSize_ = std::min(2 * blockSize_, kLargestBlock);
  }
  Record* take() {
    assert(next_ != end_);
    return next_++;
  }

 private:
  // Small meshes are common (the surroundings of one hole): start with little.
  static constexpr std::size_t kLargestBlock = 4096;
  std::size_t blockSize_ = 64;
  qv::vector<std::unique_ptr<Record[]>> blocks_;
  Record* next_ = nullptr;  // to be taken; without number
  Record* end_ = nullptr;
};

inline Vertex* endOf(const Edge* e) { return e->next->start; }
inline Edge* nextInFan(const Edge* e) { return e->prev->twin; }
inline Edge* prevInFan(const Edge* e) { return e->twin ? e->twin->next : nullptr; }

struct Fan {
  Edge* begin;  // where iteration starts: of an open fan the half-edge without twin
  int size;
  bool open;
};

/// The fan about the start of e that e belongs to.
inline Fan fanOf(Edge* e) {
  Fan fan{e, 1, false};
  for (Edge* h = nextInFan(e); h != e; h = nextInFan(h)) {
    if (!h) {
      fan.open = true;
      break;
    }
    ++fan.size;
  }
  if (!fan.open) return fan;
  while (Edge* h = prevInFan(fan.begin)) {
    fan.begin = h;
    ++fan.size;
  }
  return fan;
}

/// Whether `pred` holds for a half-edge that starts at v, in whatever fan.
template <typename Pred>
bool anyOutgoing(const Vertex* v, Pred pred) {
  Edge* e = v->outgoing;
  if (!e) return false;
  do {
    if (pred(e)) return true;
    e = e->outNext;
  } while (e != v->outgoing);
  return false;
}

/// The oldest half-edge that starts at v and satisfies `pred`; null if none does.
template <typename Pred>
Edge* oldestOutgoing(const Vertex* v, Pred pred) {
  Edge* oldest = nullptr;
  anyOutgoing(v, [&](Edge* e) {
    if (pred(e) && (!oldest || e->number < oldest->number)) oldest = e;
    return false;
  });
  return oldest;
}

inline int numOutgoing(const Vertex* v) {
  int n = 0;
  anyOutgoing(v, [&n](const Edge*) { return ++n, false; });
  return n;
}

}  // namespace topo

template <typename Record>
void TopoMesh::List<Record>::reserve(int more) {
  const auto n = static_cast<std::uint32_t>(more);
  if (n > std::numeric_limits<std::uint32_t>::max() - lastNumber) throw std::bad_alloc();
  pool->reserve(n);
}

template <typename Record>
Record* TopoMesh::List<Record>::append() {
  Record* const record = pool->take();
  record->number = ++lastNumber;
  if (!head) head = record;
  ++count;
  return record;
}

template <typename Record>
void TopoMesh::List<Record>::remove(Record* record) {
  record->alive = false;
  if (head == record) head = topo::livingFrom(record);
  --count;
}

}  // namespace qvGeom
