#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tool {

/// Red, green and blue in proportion to light, 1 being white.
struct Light {
  float c[3] = {0, 0, 0};

  Light& operator+=(const Light& other) {
    for (int k = 0; k < 3; ++k) c[k] += other.c[k];
    return *this;
  }
  friend Light operator+(Light a, const Light& b) { return a += b; }
  friend Light operator*(Light a, float s) {
    for (float& x : a.c) x *= s;
    return a;
  }
  friend Light operator*(Light a, const Light& b) {
    for (int k = 0; k < 3; ++k) a.c[k] *= b.c[k];
    return a;
  }
};

/// From a colour as screens and files know it, each part 0 to 1; and back, clamped.
Light fromScreen(float red, float green, float blue);
unsigned char toScreenByte(float light);

/// A picture in bytes, row after row from the top: red, green, blue, and alpha where it has one. Colours are
/// not multiplied by alpha.
struct Picture {
  int width;
  int height;
  bool hasAlpha;
  std::vector<unsigned char> bytes;

  Picture(int w, int h, bool alpha)
      : width(w), height(h), hasAlpha(alpha), bytes(std::size_t(h) * rowSize()) {}
  std::size_t pixelSize() const { return hasAlpha ? 4 : 3; }
  std::size_t rowSize() const { return static_cast<std::size_t>(width) * pixelSize(); }
  unsigned char* row(int y) { return bytes.data() + static_cast<std::size_t>(y) * rowSize(); }
};

/// The bytes of a PNG file.
std::string encodePng(const Picture& picture);

/// Gives numbers colours: from dark violet over green to yellow, with steps that look equally large and that
/// grow lighter all the way, so that it reads without colour too.
struct ColourScale {
  double low = 0, high = 1;  ///< what the first and the last colour stand for; low <= high

  /// Numbers beyond the ends have the colours of the ends. Where the ends are equal all have the middle one.
  /// @param number not NaN
  Light colour(double number) const;
};

/// Where something lies in a picture, in pixels: x to the right, y downwards.
struct Place {
  double x, y;
};

}  // namespace tool
