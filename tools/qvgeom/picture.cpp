#include "picture.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <new>
#include <png.h>
#include <stdexcept>

namespace tool {

namespace {

float toLight(float screen) {
  return screen <= 0.04045f ? screen / 12.92f : std::pow((screen + 0.055f) / 1.055f, 2.4f);
}

}  // namespace

Light fromScreen(float red, float green, float blue) {
  return {{toLight(red), toLight(green), toLight(blue)}};
}

unsigned char toScreenByte(float light) {
  const float x = std::clamp(light, 0.0f, 1.0f);
  const float screen = x <= 0.0031308f ? 12.92f * x : 1.055f * std::pow(x, 1 / 2.4f) - 0.055f;
  return static_cast<unsigned char>(std::lround(255 * screen));
}

std::string encodePng(const Picture& picture) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(picture.width);
  image.height = static_cast<png_uint_32>(picture.height);
  image.format = picture.hasAlpha ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
  // What the format can need at most: compressing twice only to learn the size would take as long again.
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
  std::string bytes(size, '\0');
  if (!png_image_write_to_memory(&image, bytes.data(), &size, 0, picture.bytes.data(), 0, nullptr))
    throw std::runtime_error(std::string("cannot encode the picture: ") + image.message);
  bytes.resize(size);
  return bytes;
}

Light ColourScale::colour(double number) const {
  static constexpr unsigned kStops[] = {0x440154, 0x482475, 0x414487, 0x355f8d, 0x2a788e, 0x21918c,
                                        0x22a884, 0x44bf70, 0x7ad151, 0xbddf26, 0xfde725};
  constexpr int kLast = static_cast<int>(std::size(kStops)) - 1;
  const double value = high > low ? (number - low) / (high - low) : 0.5;
  const double place = std::clamp(value, 0.0, 1.0) * kLast;
  const int stop = std::min(static_cast<int>(place), kLast - 1);
  const float part = static_cast<float>(place - stop);
  float screen[3];
  for (int k = 0; k < 3; ++k) {
    const auto at = [&](int i) { return static_cast<float>(kStops[i] >> (16 - 8 * k) & 255) / 255; };
    screen[k] = at(stop) + part * (at(stop + 1) - at(stop));
  }
  return fromScreen(screen[0], screen[1], screen[2]);
}

}  // namespace tool
