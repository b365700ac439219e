#include "geom/io/number_text.h"

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace qvGeom {
namespace {

std::string written(float value, int digits) {
  char text[kMaxNumberLength];
  return {text, writeFloat(text, value, digits)};
}

std::string printed(double value, int digits) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*g", digits, value);
  return text;
}

TEST(NumberText, WritesFloatsAsPrintfDoes) {
  const float edges[] = {0.0f,      -0.0f,       1.0f,          0.1f,   1e-5f,        9.9999995e-5f,
                         999999.5f, 999999.4f,   9999999.7f,    1e10f,  123456792.0f, 0.5f,
                         2.5e-5f,   16777216.0f, 3.4028235e38f, 1e-38f, 1e-45f,       -7e-42f,
                         INFINITY,  -INFINITY,   NAN,           -NAN};
  std::mt19937 random(7);
  for (std::size_t i = 0; i < 200000; ++i) {
    const std::uint32_t bits = static_cast<std::uint32_t>(random());
    // Every other one is of the size that coordinates have, with halves to round among them.
    const float value = i < std::size(edges) ? edges[i]
                        : i % 2              ? std::bit_cast<float>(bits)
                                : static_cast<float>(static_cast<int>(bits % 20000001) - 10000000) / 64;
    ASSERT_EQ(written(value, 6), printed(value, 6)) << bits;
    ASSERT_EQ(written(value, 10), printed(value, 10)) << bits;
  }
}

TEST(NumberText, ScansNumbersAsTheCLibraryDoes) {
  std::mt19937_64 random(8);
  for (int i = 0; i < 200000; ++i) {
    char text[96];
    const auto r = random();
    // Up to 40 digits, exponents past both ends of the range.
    if (i % 4 == 0) {
      std::snprintf(text, sizeof text, "%llu.%llue%d", static_cast<unsigned long long>(r >> (r % 64)),
                    static_cast<unsigned long long>(random()), static_cast<int>(random() % 130) - 70);
    } else if (i % 4 == 1) {
      std::snprintf(text, sizeof text, "%.*g", static_cast<int>(r % 20) + 1,
                    static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(random()))));
    } else if (i % 4 == 2) {  // sixteen digits: their nearest double is halfway between floats, they are not
      const float f = 8 + std::ldexp(static_cast<float>(random() % (1 << 20)), -20);
      std::snprintf(text, sizeof text, "%.16g", double{f} + std::ldexp(1.0, -21));
    } else {  // exactly halfway between two floats, and next to it
      const float f = std::bit_cast<float>(static_cast<std::uint32_t>(random() % 0x7f000000));
      std::snprintf(text, sizeof text, "%.40g%s", (double{f} + double{std::nextafter(f, INFINITY)}) / 2,
                    r % 2 ? "" : "1");
    }
    char const* end = text + std::strlen(text);
    float f = 0;
    double d = 0;
    ASSERT_TRUE(scanFloat(text, end, f) == end && scanDouble(text, end, d) == end) << text;
    const float expected = std::strtof(text, nullptr);
    ASSERT_TRUE(std::isnan(expected) || (f == expected && d == std::strtod(text, nullptr))) << text;
  }
}

TEST(NumberText, RefusesWhatIsNoNumberAndStopsWhereItEnds) {
  struct Case {
    std::string text;
    long consumed;  // -1: refused
    float value;
  };
  for (const Case& c : {Case{" \t\n+1.5x", 7, 1.5f}, Case{"-.5.5", 3, -0.5f}, Case{"5.", 2, 5},
                        Case{"1e", -1, 0}, Case{"1e+", -1, 0}, Case{".", -1, 0}, Case{"-", -1, 0},
                        Case{"", -1, 0}, Case{"e5", -1, 0}, Case{"0x1p3", 5, 8}, Case{"-0X.8", 5, -0.5f},
                        Case{"inf", 3, INFINITY}, Case{"-Infinity", 9, -INFINITY}, Case{"in", -1, 0},
                        Case{"1e99999999999", 13, INFINITY}, Case{"0e99999999999", 13, 0},
                        Case{"1e-99999999999", 14, 0}, Case{"0." + std::string(400, '0') + "1e401", 407, 1},
                        Case{"1" + std::string(400, '0') + "e-400", 406, 1}}) {
    SCOPED_TRACE(c.text);
    float value = 0;
    char const* begin = c.text.data();
    char const* end = scanFloat(begin, begin + c.text.size(), value);
    EXPECT_EQ(end ? end - begin : -1, c.consumed);
    EXPECT_TRUE(c.consumed < 0 || value == c.value) << value;
  }
  int i = 0;
  for (const std::string text : {"2147483648", "-2147483649", "99999999999999999999", "+", "x"})
    EXPECT_EQ(scanInt(text.data(), text.data() + text.size(), i), nullptr) << text;
  const std::string smallest = "-2147483648.";
  EXPECT_EQ(scanInt(smallest.data(), smallest.data() + smallest.size(), i), smallest.data() + 11);
  EXPECT_EQ(i, -2147483647 - 1);
}

}  // namespace
}  // namespace qvGeom
