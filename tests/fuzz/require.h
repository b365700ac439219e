#pragma once

#include <cstdlib>

/// Ends the process where a property does not hold, in every build.
inline void require(bool holds) {
  if (!holds) std::abort();
}
