#pragma once

#include <cstdint>

#include "geom/model/keel/export.h"

namespace qvUtil {

/// Uniform in [0, 1), from the 48-bit linear congruence x = 0x5DEECE66D x + 0xB mod 2^48, result x / 2^48.
/// Each thread has a sequence of its own that starts from the same seed, so that no caller can shift
/// another's numbers and a run repeats.
QVGEOM_API double drand48();

/// Restarts this thread's sequence at x = seed 2^16 + 0x330E.
QVGEOM_API void srand48(std::uint32_t seed);

}  // namespace qvUtil
