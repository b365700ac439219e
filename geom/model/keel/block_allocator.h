#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

#include "geom/model/keel/export.h"

namespace qv {

/// Pool of equally sized elements, handed out from blocks and taken back into a free list.
/// Serves the nodes of one tree container, which must not outlive it. One thread at a time.
/// Elements are aligned as `operator new` aligns; the memory goes back to the system with the pool.
class QVGEOM_API BlockAllocator {
 public:
  /// @param elementSize bytes of an element; 0 counts as 1
  /// @param perBlock    elements taken from the system at a time; below 1 counts as 1
  BlockAllocator(unsigned int elementSize, int perBlock);
  BlockAllocator(const BlockAllocator&) = delete;
  BlockAllocator& operator=(const BlockAllocator&) = delete;

  std::size_t elementSize() const { return elementSize_; }
  void* allocate();
  void deallocate(void* element) noexcept;

 private:
  struct FreeElement {
    FreeElement* next;
  };

  void addBlock();

  std::size_t elementSize_;
  std::size_t stride_;
  std::size_t perBlock_;
  FreeElement* free_ = nullptr;
  std::vector<std::unique_ptr<std::byte[]>> blocks_;
};

/// Standard allocator over a BlockAllocator, for `qv::set` and `qv::map`. Requests that are not for a single
/// element, or for one larger or more aligned than the pool's, go to `operator new`: a container may rebind
/// the allocator to whatever it needs beside its nodes.
template <typename T>
class PoolAllocator {
 public:
  using value_type = T;

  explicit PoolAllocator(BlockAllocator& pool) : pool_(&pool) {}
  template <typename U>
  PoolAllocator(const PoolAllocator<U>& other) : pool_(&other.pool()) {}

  BlockAllocator& pool() const { return *pool_; }

  T* allocate(std::size_t n) {
    if (fromPool(n)) return static_cast<T*>(pool_->allocate());
    return std::allocator<T>().allocate(n);
  }
  void deallocate(T* p, std::size_t n) noexcept {
    if (fromPool(n)) {
      pool_->deallocate(p);
    } else {
      std::allocator<T>().deallocate(p, n);
    }
  }

  template <typename U>
  friend bool operator==(const PoolAllocator& a, const PoolAllocator<U>& b) {
    return &a.pool() == &b.pool();
  }

 private:
  bool fromPool(std::size_t n) const {
    return n == 1 && sizeof(T) <= pool_->elementSize() && alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__;
  }

  BlockAllocator* pool_;
};

}  // namespace qv
