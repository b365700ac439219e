#pragma once

#include <cstddef>

namespace qvGeom {

// Numbers as text, the same under every locale. The readers take a range [p, end) and return the position
// after what they consumed; nothing outside the range is touched.

/// How a stream's `>>` would have left a number.
enum class NumberStatus { good, failed };

/// Reads a float as the classic locale's input stream does: leading white space, sign, digits, point,
/// exponent; neither "nan" nor "inf" nor hexadecimal. What was consumed is converted as a whole: "1e" fails.
/// On failure the value is 0, or the largest float of the sign where the number is too large; when nothing
/// but white space was left, `value` is unchanged. Rounds to nearest; too small numbers become 0.
char const* readStreamFloat(char const* p, char const* end, float& value, NumberStatus& status);

/// Reads an int likewise. A number that does not fit fails with the nearest int as value.
char const* readStreamInt(char const* p, char const* end, int& value, NumberStatus& status);

/// Reads a number as the C library's formatted input does, with "%f", "%lf" and "%d": white space may come
/// first, "inf", "nan" and hexadecimal floats are numbers too. Ints that do not fit fail.
/// @return null on failure
char const* scanFloat(char const* p, char const* end, float& value);
char const* scanDouble(char const* p, char const* end, double& value);
char const* scanInt(char const* p, char const* end, int& value);

/// Largest number of characters that the writers below produce.
inline constexpr std::size_t kMaxNumberLength = 24;

/// Writes a number as "%.<digits>g" does, digits 6 or 10, exactly rounded; "inf", "-inf", "nan" or "-nan"
/// where it is not finite. @return the position after the last character, at most kMaxNumberLength further on
char* writeFloat(char* p, float value, int digits);
char* writeDouble(char* p, double value, int digits);
char* writeInt(char* p, int value);

}  // namespace qvGeom
