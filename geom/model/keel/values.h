#pragma once

#include <cstdint>

namespace qvUtil {

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
