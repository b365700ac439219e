#include "geom/model/keel/large_array.h"

#include <cstdlib>
#include <new>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace qvUtil {

namespace {

constexpr std::size_t kLargePage = std::size_t{2} << 20;

}  // namespace

void FreeLarge::operator()(void* p) const noexcept { std::free(p); }

void* allocateLarge(std::size_t bytes) {
  const bool isLarge = bytes >= kLargePage;
  const std::size_t whole = (bytes + kLargePage - 1) / kLargePage * kLargePage;
  void* const p = isLarge ? std::aligned_alloc(kLargePage, whole) : std::malloc(bytes > 0 ? bytes : 1);
  if (!p) throw std::bad_alloc();
#ifdef __linux__
  if (isLarge) madvise(p, whole, MADV_HUGEPAGE);  // a wish: without it pages are small
#endif
  return p;
}

}  // namespace qvUtil
