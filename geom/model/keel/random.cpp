#include "geom/model/keel/random.h"

namespace qvUtil {

namespace {

constexpr std::uint64_t kMask = (std::uint64_t{1} << 48) - 1;
constexpr std::uint64_t start(std::uint64_t seed) { return (seed << 16) | 0x330E; }

thread_local std::uint64_t state = start(0);

}  // namespace

double drand48() {
  state = (0x5DEECE66DULL * state + 0xBULL) & kMask;
  return static_cast<double>(state) / static_cast<double>(kMask + 1);
}

void srand48(std::uint32_t seed) { state = start(seed); }

}  // namespace qvUtil
