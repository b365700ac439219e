#pragma once

// Four floats at once, for the inner loops of queries. Not part of the public surface.
//
// The vector instructions are those that every x86-64 has; elsewhere the same operations run one after
// another and give the same bits. `min` and `max` return the second operand when the two compare unordered.

#include <cmath>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qvUtil {

/// Asks for memory that will be read soon. Changes nothing but the time.
inline void prefetch(void const* p) {
#if defined(__GNUC__)
  __builtin_prefetch(p);
#else
  (void)p;
#endif
}

#if defined(__SSE2__)

/// Four floats.
struct Float4 {
  __m128 v;

  Float4() : v(_mm_setzero_ps()) {}
  Float4(__m128 lanes) : v(lanes) {}
  explicit Float4(float all) : v(_mm_set1_ps(all)) {}
  Float4(float a, float b, float c, float d) : v(_mm_setr_ps(a, b, c, d)) {}
  static Float4 load(float const* p) { return _mm_loadu_ps(p); }
  /// Four small numbers.
  static Float4 fromBytes(std::uint8_t const* p) {
    int bytes;
    std::memcpy(&bytes, p, sizeof bytes);
    const __m128i zero = _mm_setzero_si128();
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(bytes), zero), zero));
  }
  void store(float* p) const { _mm_storeu_ps(p, v); }

  friend Float4 operator+(Float4 a, Float4 b) { return _mm_add_ps(a.v, b.v); }
  friend Float4 operator-(Float4 a, Float4 b) { return _mm_sub_ps(a.v, b.v); }
  friend Float4 operator*(Float4 a, Float4 b) { return _mm_mul_ps(a.v, b.v); }
  friend Float4 operator/(Float4 a, Float4 b) { return _mm_div_ps(a.v, b.v); }
  friend Float4 min(Float4 a, Float4 b) { return _mm_min_ps(a.v, b.v); }
  friend Float4 max(Float4 a, Float4 b) { return _mm_max_ps(a.v, b.v); }
  // Comparisons set all bits of a lane, or none; the bitwise operations work on such masks.
  friend Float4 operator<(Float4 a, Float4 b) { return _mm_cmplt_ps(a.v, b.v); }
  friend Float4 operator<=(Float4 a, Float4 b) { return _mm_cmple_ps(a.v, b.v); }
  friend Float4 operator>(Float4 a, Float4 b) { return _mm_cmpgt_ps(a.v, b.v); }
  friend Float4 operator>=(Float4 a, Float4 b) { return _mm_cmpge_ps(a.v, b.v); }
  friend Float4 operator&(Float4 a, Float4 b) { return _mm_and_ps(a.v, b.v); }
  friend Float4 operator|(Float4 a, Float4 b) { return _mm_or_ps(a.v, b.v); }
  friend Float4 operator^(Float4 a, Float4 b) { return _mm_xor_ps(a.v, b.v); }
  /// b where the mask is not set.
  friend Float4 andNot(Float4 mask, Float4 b) { return _mm_andnot_ps(mask.v, b.v); }
  /// One bit per lane: its sign, which for masks is whether it is set.
  friend int signBits(Float4 a) { return _mm_movemask_ps(a.v); }
};

/// Three floats each from four places, turned into lanes of x, y and z.
inline void gatherPoints(float const* a, float const* b, float const* c, float const* d, Float4 (&xyz)[3]) {
  const auto pair = [](float const* p, float const* q) {
    double low, high;
    std::memcpy(&low, p, sizeof low);
    std::memcpy(&high, q, sizeof high);
    return _mm_castpd_ps(_mm_setr_pd(low, high));
  };
  const __m128 ab = pair(a, b);
  const __m128 cd = pair(c, d);
  xyz[0] = _mm_shuffle_ps(ab, cd, _MM_SHUFFLE(2, 0, 2, 0));
  xyz[1] = _mm_shuffle_ps(ab, cd, _MM_SHUFFLE(3, 1, 3, 1));
  xyz[2] = _mm_setr_ps(a[2], b[2], c[2], d[2]);
}

#else

struct Float4 {
  float v[4] = {};

  Float4() = default;
  explicit Float4(float all) : v{all, all, all, all} {}
  Float4(float a, float b, float c, float d) : v{a, b, c, d} {}
  static Float4 load(float const* p) { return {p[0], p[1], p[2], p[3]}; }
  static Float4 fromBytes(std::uint8_t const* p) {
    return {static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2]),
            static_cast<float>(p[3])};
  }
  void store(float* p) const { std::memcpy(p, v, sizeof v); }

  template <typename Op>
  static Float4 each(const Float4& a, const Float4& b, Op op) {
    return {op(a.v[0], b.v[0]), op(a.v[1], b.v[1]), op(a.v[2], b.v[2]), op(a.v[3], b.v[3])};
  }
  static std::uint32_t bits(float x) {
    std::uint32_t u;
    std::memcpy(&u, &x, sizeof u);
    return u;
  }
  static float fromBits(std::uint32_t u) {
    float x;
    std::memcpy(&x, &u, sizeof x);
    return x;
  }
  static float mask(bool set) { return fromBits(set ? ~0u : 0u); }

  friend Float4 operator+(Float4 a, Float4 b) {
    return each(a, b, [](float x, float y) { return x + y; });
  }
  friend Float4 operator-(Float4 a, Float4 b) {
    return each(a, b, [](float x, float y) { return x - y; });
  }
  friend Float4 operator*(Float4 a, Float4 b) {
    return each(a, b, [](float x, float y) { return x * y; });
  }
  friend Float4 operator/(Float4 a, Float4 b) {
    return each(a, b, [](float x, float y) { return x / y; });
  }
  friend Float4 min(Float4 a, Float4 b) {
    return each(a, b, [](float x, float y) { return x < y ? x : y; });
  }
  friend Float4 max(Float4 a, Float4 b) {
    return each(a, b, [](float x, float y) { return x > y ? x : y; });
  }
  friend Float4 operator<(Float4 a, Float4 b) {
    return each(a, b, [](float x, float y) { return mask(x < y); });
  }
  friend Float4 operator<=(Float4 a, Float4 b) {
    return each(a, b, [](float x, float y) { return mask(x <= y); });
  }
  friend Float4 operator>(Float4 a, Float4 b) { return b < a; }
  friend Float4 operator>=(Float4 a, Float4 b) { return b <= a; }
  friend Float4 operator&(Float4 a, Float4 b) {
    return each(a, b, [](float x, float y) { return fromBits(bits(x) & bits(y)); });
  }
  friend Float4 operator|(Float4 a, Float4 b) {
    return each(a, b, [](float x, float y) { return fromBits(bits(x) | bits(y)); });
  }
  friend Float4 operator^(Float4 a, Float4 b) {
    return each(a, b, [](float x, float y) { return fromBits(bits(x) ^ bits(y)); });
  }
  friend Float4 andNot(Float4 mask, Float4 b) {
    return each(mask, b, [](float x, float y) { return fromBits(~bits(x) & bits(y)); });
  }
  friend int signBits(Float4 a) {
    int result = 0;
    for (int i = 0; i < 4; ++i) result |= static_cast<int>(bits(a.v[i]) >> 31) << i;
    return result;
  }
};

inline void gatherPoints(float const* a, float const* b, float const* c, float const* d, Float4 (&xyz)[3]) {
  for (int k = 0; k < 3; ++k) xyz[k] = Float4(a[k], b[k], c[k], d[k]);
}

#endif

inline Float4 abs(Float4 a) { return andNot(Float4(-0.0f), a); }
inline Float4 select(Float4 mask, Float4 ifSet, Float4 ifNot) { return (mask & ifSet) | andNot(mask, ifNot); }
inline void cross(const Float4 (&a)[3], const Float4 (&b)[3], Float4 (&c)[3]) {
  c[0] = a[1] * b[2] - a[2] * b[1];
  c[1] = a[2] * b[0] - a[0] * b[2];
  c[2] = a[0] * b[1] - a[1] * b[0];
}
inline Float4 dot(const Float4 (&a)[3], const Float4 (&b)[3]) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline float lane(Float4 a, int i) {
  float lanes[4];
  a.store(lanes);
  return lanes[i];
}

}  // namespace qvUtil
