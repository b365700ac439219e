#include "geom/io/number_text.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <system_error>

namespace qvGeom {

namespace {

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isSign(char c) { return c == '+' || c == '-'; }

char const* skipSpace(char const* p, char const* end) {
  while (p < end && isSpace(*p)) ++p;
  return p;
}

// A decimal number as its digits were read: mantissa x 10^exponent.
struct Decimal {
  char const* begin = nullptr;  // of the text, behind the sign
  char const* end = nullptr;    // of what was consumed
  std::uint64_t mantissa = 0;   // the first significant digits, no more than 19
  int exponent = 0;
  bool negative = false;
  bool truncated = false;  // there were more than 19 digits
  bool complete = false;   // a whole number by the grammar: digits, and digits behind an 'e'
};

constexpr int kMaxDigits = 19;                   // 10^19 still fits 64 bits
constexpr std::int64_t kHugeExponent = 1 << 30;  // beyond any text that could make up for it

int clampExponent(std::int64_t e) {
  return static_cast<int>(std::clamp<std::int64_t>(e, -kHugeExponent, kHugeExponent));
}

char const* readExponent(char const* p, char const* end, int& exponent, bool& hasDigits) {
  bool negative = false;
  if (p < end && isSign(*p)) negative = *p++ == '-';
  std::int64_t value = 0;
  hasDigits = p < end && isDigit(*p);
  for (; p < end && isDigit(*p); ++p) value = std::min(value * 10 + (*p - '0'), kHugeExponent);
  exponent = clampExponent(negative ? -value : value);
  return p;
}

// Digits, perhaps a point, and digits again, without a look at how many there are.
struct Mantissa {
  char const* end;
  std::uint64_t value;  // worthless for more than 19 digits
  int digits;
  int fractionDigits;
};

Mantissa readMantissa(char const* p, char const* end) {
  char const* const begin = p;
  std::uint64_t value = 0;
  for (; p < end && isDigit(*p); ++p) value = value * 10 + static_cast<std::uint64_t>(*p - '0');
  const std::ptrdiff_t whole = p - begin;
  std::ptrdiff_t fraction = 0;
  if (p < end && *p == '.') {
    char const* const fractionBegin = ++p;
    for (; p < end && isDigit(*p); ++p) value = value * 10 + static_cast<std::uint64_t>(*p - '0');
    fraction = p - fractionBegin;
  }
  return {p, value, clampExponent(whole + fraction), clampExponent(fraction)};
}

// The first 19 significant digits of text that readMantissa went through, and the exponent that goes with
// them.
void truncateMantissa(char const* p, char const* end, Decimal& d) {
  int digits = 0;
  std::int64_t exponent = 0;
  int fraction = 0;
  for (; p < end; ++p) {
    if (*p == '.') {
      fraction = 1;
    } else if (digits < kMaxDigits) {
      d.mantissa = d.mantissa * 10 + static_cast<std::uint64_t>(*p - '0');
      if (d.mantissa != 0) ++digits;
      exponent -= fraction;
    } else {
      d.truncated = true;
      exponent += 1 - fraction;
    }
  }
  d.exponent = clampExponent(exponent);
}

// Consumes the longest run of characters that can begin a decimal number. `p` is at the first of them.
Decimal readDecimal(char const* p, char const* end) {
  Decimal d;
  if (p < end && isSign(*p)) d.negative = *p++ == '-';
  d.begin = p;
  const Mantissa m = readMantissa(p, end);
  p = m.end;
  if (m.digits <= kMaxDigits) {
    d.mantissa = m.value;
    d.exponent = -m.fractionDigits;
  } else {
    truncateMantissa(d.begin, m.end, d);
  }
  d.complete = m.digits > 0;
  if (d.complete && p < end && (*p == 'e' || *p == 'E')) {
    int written = 0;
    p = readExponent(p + 1, end, written, d.complete);
    d.exponent = clampExponent(std::int64_t{d.exponent} + written);
  }
  d.end = p;
  return d;
}

constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kLargestExactPower = 22;

// The nearest double where mantissa and power of ten are both exact doubles: one operation rounds once.
bool exactDouble(const Decimal& d, double& value) {
  if (d.truncated || d.mantissa > (std::uint64_t{1} << 53) || std::abs(d.exponent) > kLargestExactPower)
    return false;
  const double m = static_cast<double>(d.mantissa);
  value = d.exponent < 0 ? m / kPowersOfTen[-d.exponent] : m * kPowersOfTen[d.exponent];
  return true;
}

// Whether rounding this double, itself the nearest to some number, to float gives the float nearest to that
// number. Only a double halfway between two floats hides on which side of it the number lay.
bool roundsToFloat(double value) {
  if (value == 0) return true;
  if (value < double{std::numeric_limits<float>::min()} || value > double{std::numeric_limits<float>::max()})
    return false;
  return (std::bit_cast<std::uint64_t>(value) & 0x1fffffffu) != 0x10000000u;
}

template <typename T>
T slowValue(const Decimal& d) {
  T value = 0;
  const auto result = std::from_chars(d.begin, d.end, value);
  if (result.ec != std::errc::result_out_of_range) return value;
  // Too large or too small: with 19 digits at most, the exponent alone tells which.
  return d.exponent > -kMaxDigits ? std::numeric_limits<T>::infinity() : T{0};
}

float magnitude(const Decimal& d, float) {
  double value = 0;
  if (exactDouble(d, value) && roundsToFloat(value)) return static_cast<float>(value);
  return slowValue<float>(d);
}

double magnitude(const Decimal& d, double) {
  double value = 0;
  return exactDouble(d, value) ? value : slowValue<double>(d);
}

template <typename T>
T valueOf(const Decimal& d) {
  const T m = d.mantissa == 0 ? T{0} : magnitude(d, T{});
  return d.negative ? -m : m;
}

}  // namespace

char const* readStreamFloat(char const* p, char const* end, float& value, NumberStatus& status) {
  status = NumberStatus::failed;
  p = skipSpace(p, end);
  if (p == end) return p;
  const Decimal d = readDecimal(p, end);
  value = 0;
  if (!d.complete) return d.end;
  value = valueOf<float>(d);
  if (std::isinf(value)) {
    value = std::copysign(std::numeric_limits<float>::max(), value);
  } else {
    status = NumberStatus::good;
  }
  return d.end;
}

namespace {

struct Integer {
  char const* end;
  bool hasDigits;
  std::int64_t value;  // kept just outside the range of int when it is larger
};

Integer readInteger(char const* p, char const* end) {
  constexpr std::int64_t kBeyond = std::int64_t{1} << 32;
  bool negative = false;
  if (p < end && isSign(*p)) negative = *p++ == '-';
  char const* digits = p;
  std::int64_t value = 0;
  for (; p < end && isDigit(*p); ++p) value = std::min(value * 10 + (*p - '0'), kBeyond);
  return {p, p > digits, negative ? -value : value};
}

constexpr std::int64_t kIntMin = std::numeric_limits<int>::min();
constexpr std::int64_t kIntMax = std::numeric_limits<int>::max();

}  // namespace

char const* readStreamInt(char const* p, char const* end, int& value, NumberStatus& status) {
  status = NumberStatus::failed;
  p = skipSpace(p, end);
  if (p == end) return p;
  const Integer i = readInteger(p, end);
  value = static_cast<int>(std::clamp(i.value, kIntMin, kIntMax));
  if (i.hasDigits && i.value == value) status = NumberStatus::good;
  return i.end;
}

char const* scanInt(char const* p, char const* end, int& value) {
  p = skipSpace(p, end);
  const Integer i = readInteger(p, end);
  if (!i.hasDigits || i.value < kIntMin || i.value > kIntMax) return nullptr;
  value = static_cast<int>(i.value);
  return i.end;
}

namespace {

// "inf", "nan" and hexadecimal floats; null when the text is none of them.
template <typename T>
char const* scanSpecial(char const* p, char const* end, T& value) {
  const bool negative = p < end && *p == '-';
  if (p < end && isSign(*p)) ++p;
  std::from_chars_result result{};
  if (end - p > 2 && p[0] == '0' && (p[1] == 'x' || p[1] == 'X') && p[2] != '-') {
    result = std::from_chars(p + 2, end, value, std::chars_format::hex);
  } else if (p < end && std::strchr("iInN", *p)) {
    result = std::from_chars(p, end, value);
  } else {
    return nullptr;
  }
  if (result.ec == std::errc::invalid_argument) return nullptr;
  if (result.ec == std::errc::result_out_of_range) value = 0;  // a hexadecimal number beyond all use
  if (negative) value = -value;
  return result.ptr;
}

template <typename T>
char const* scanReal(char const* p, char const* end, T& value) {
  p = skipSpace(p, end);
  if (char const* after = scanSpecial(p, end, value)) return after;
  const Decimal d = readDecimal(p, end);
  if (!d.complete) return nullptr;
  value = valueOf<T>(d);
  return d.end;
}

}  // namespace

char const* scanFloat(char const* p, char const* end, float& value) { return scanReal(p, end, value); }
char const* scanDouble(char const* p, char const* end, double& value) { return scanReal(p, end, value); }

namespace {

constexpr std::uint64_t kPowersOfFive[] = {
    1ull,         5ull,          25ull,         125ull,         625ull,          3125ull,
    15625ull,     78125ull,      390625ull,     1953125ull,     9765625ull,      48828125ull,
    244140625ull, 1220703125ull, 6103515625ull, 30517578125ull, 152587890625ull, 762939453125ull};
constexpr int kLargestFive = 17;  // 24 bits times 5^17 fit 64 bits

constexpr std::uint64_t powerOfTen(int k) { return kPowersOfFive[k] << k; }

// Quotient to the nearest integer, halves to the even one.
std::uint64_t divideRounded(std::uint64_t a, std::uint64_t b) {
  const std::uint64_t q = a / b;
  const std::uint64_t twice = (a % b) * 2;
  return q + (twice > b || (twice == b && (q & 1)) ? 1 : 0);
}

// The same for a divisor 2^r, 0 < r < 64.
std::uint64_t shiftRounded(std::uint64_t a, int r) {
  const std::uint64_t q = a >> r;
  const std::uint64_t rest = a << (64 - r);
  constexpr std::uint64_t kHalf = std::uint64_t{1} << 63;
  return q + (rest > kHalf || (rest == kHalf && (q & 1)) ? 1 : 0);
}

// m 2^q 10^k to the nearest integer, halves to even, in integers alone, so exactly; m has 24 bits at most.
// False where 64 bits do not hold the way there.
bool scaledInteger(std::uint64_t m, int q, int k, std::uint64_t& n) {
  if (k >= 0) {
    if (k > kLargestFive) return false;
    const std::uint64_t scaled = m * kPowersOfFive[k];
    const int shift = q + k;
    if (shift >= 0) {
      n = scaled << shift;
      return shift < std::countl_zero(scaled);
    }
    if (shift <= -64) return false;
    n = shiftRounded(scaled, -shift);
    return true;
  }
  if (-k > kLargestFive) return false;
  if (q >= 0) {
    if (q > 39) return false;
    n = divideRounded(m << q, powerOfTen(-k));
    return true;
  }
  const std::uint64_t ten = powerOfTen(-k);
  if (-q >= std::countl_zero(ten) - 1) return false;
  n = divideRounded(m, ten << -q);
  return true;
}

// Two decimal digits a time.
constexpr auto kPairs = [] {
  struct {
    char text[200];
  } t{};
  for (int i = 0; i < 100; ++i) {
    t.text[2 * i] = static_cast<char>('0' + i / 10);
    t.text[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return t;
}();

// Lays out `digits` (6 or 10, an even number) significant digits n with the first at 10^exponent, as "%g"
// does.
char* layOut(char* p, std::uint64_t n, int digits, int exponent) {
  char text[16] = {};
  for (int i = digits - 2; i >= 0; i -= 2, n /= 100) std::memcpy(text + i, kPairs.text + 2 * (n % 100), 2);
  int used = digits;
  while (used > 1 && text[used - 1] == '0') --used;

  if (exponent < -4 || exponent >= digits) {
    *p++ = text[0];
    if (used > 1) *p++ = '.';
    p = std::copy(text + 1, text + used, p);
    *p++ = 'e';
    *p++ = exponent < 0 ? '-' : '+';
    std::memcpy(p, kPairs.text + 2 * std::abs(exponent), 2);  // a float's exponent has two digits
    return p + 2;
  }
  if (exponent < 0) {
    *p++ = '0';
    *p++ = '.';
    p = std::fill_n(p, -exponent - 1, '0');
    return std::copy(text, text + used, p);
  }
  const int whole = exponent + 1;
  p = std::copy(text, text + whole, p);
  if (used > whole) {
    *p++ = '.';
    p = std::copy(text + whole, text + used, p);
  }
  return p;
}

}  // namespace

char* writeDouble(char* p, double value, int digits) {
  return std::to_chars(p, p + kMaxNumberLength, value, std::chars_format::general, digits).ptr;
}

char* writeFloat(char* p, float value, int digits) {
  const std::uint32_t bits = std::bit_cast<std::uint32_t>(value);
  const int biased = static_cast<int>(bits >> 23 & 0xff);
  if (bits >> 31) *p++ = '-';
  if ((bits & 0x7fffffff) == 0) {
    *p++ = '0';
    return p;
  }
  const auto slow = [&] { return writeDouble(p, std::fabs(double{value}), digits); };
  if (biased == 0 || biased == 0xff) return slow();  // subnormal or not finite
  const std::uint64_t m = (bits & 0x7fffff) | 0x800000;
  const int q = biased - 150;

  // 78913 / 2^18 is just below log10(2), so the estimate is the exponent or one less, which shows as one
  // digit too many; so does rounding up to the next power of ten.
  int exponent = ((biased - 127) * 78913) >> 18;
  const std::uint64_t limit = digits == 6 ? 1000000u : 10000000000u;
  std::uint64_t n = 0;
  if (!scaledInteger(m, q, digits - 1 - exponent, n)) return slow();
  while (n >= limit)
    if (!scaledInteger(m, q, digits - 1 - ++exponent, n)) return slow();
  return layOut(p, n, digits, exponent);
}

char* writeInt(char* p, int value) { return std::to_chars(p, p + kMaxNumberLength, value).ptr; }

}  // namespace qvGeom
