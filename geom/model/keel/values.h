#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace qvUtil {

/// The nearest value that a float can hold, but for rounding; NaN stays NaN.
template <typename T>
constexpr T withinFloats(T value) {
  constexpr T kMax = std::numeric_limits<float>::max();
  // The order of the arguments of min and max matters: it lets NaN through.
  return std::min(std::max(value, -kMax), kMax);
}

/// Thirty-two flags in one word.
struct BitField32 {
  std::uint32_t bits = 0;

  constexpr bool test(int i) const { return (bits >> i & 1u) != 0; }
  constexpr void set(int i) { bits |= std::uint32_t{1} << i; }
  constexpr bool any() const { return bits != 0; }
  friend constexpr bool operator==(const BitField32&, const BitField32&) = default;
};

/// Scale and offset of texture coordinates: (u, v) goes to (u scaleU + offsetU, v scaleV + offsetV).
struct Transform2d {
  float scaleU = 1;
  float scaleV = 1;
  float offsetU = 0;
  float offsetV = 0;
  int flag = 1;  ///< carried along for the host; part of equality

  friend constexpr bool operator==(const Transform2d&, const Transform2d&) = default;
};

}  // namespace qvUtil
