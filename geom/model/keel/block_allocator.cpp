#include "geom/model/keel/block_allocator.h"

#include <algorithm>

namespace qv {

namespace {
constexpr std::size_t kAlign = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
}

BlockAllocator::BlockAllocator(unsigned int elementSize, int perBlock)
    : elementSize_(std::max(elementSize, 1u)),
      // Every element must start aligned and must be able to hold the free list's link.
      stride_((std::max(elementSize_, sizeof(FreeElement)) + kAlign - 1) / kAlign * kAlign),
      perBlock_(static_cast<std::size_t>(std::max(perBlock, 1))) {}

void* BlockAllocator::allocate() {
  if (!free_) addBlock();
  FreeElement* element = free_;
  free_ = element->next;
  return element;
}

void BlockAllocator::deallocate(void* element) noexcept {
  if (element) free_ = new (element) FreeElement{free_};
}

void BlockAllocator::addBlock() {
  blocks_.push_back(std::make_unique_for_overwrite<std::byte[]>(stride_ * perBlock_));
  std::byte* block = blocks_.back().get();
  // Linked back to front, so that elements are handed out in address order.
  for (std::size_t i = perBlock_; i-- > 0;) deallocate(block + i * stride_);
}

}  // namespace qv
