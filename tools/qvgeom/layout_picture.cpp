#include "layout_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "exit_code.h"
#include "layout.h"
#include "line_walk.h"
#include "picture.h"

namespace tool {

using qvGeom::CompactMesh;

LayoutFormat layoutFormat(const std::string& path) {
  const std::string extension = std::filesystem::path(path).extension().string();
  if (extension == ".png") return LayoutFormat::png;
  if (extension == ".svg") return LayoutFormat::svg;
  throw Failure(kUsage, "--uv-picture: name it *.png or *.svg, not '" + path + "'");
}

namespace {

constexpr double kSide = 1000;  // longer side of the picture, pixels
constexpr double kMargin = 20;

// Where texture coordinates come to lie. Those that are not finite are left out, with their triangles.
class Frame {
 public:
  explicit Frame(const CompactMesh& mesh) : mesh_(mesh) {
    const LayoutBox box = layoutBox(mesh);
    if (box.isEmpty()) return;
    scale_ = box.extent() > 0 ? (kSide - 2 * kMargin) / box.extent() : 0;
    left_ = box.least[0];
    top_ = box.greatest[1];
    width = static_cast<int>(std::ceil((box.greatest[0] - box.least[0]) * scale_ + 2 * kMargin));
    height = static_cast<int>(std::ceil((box.greatest[1] - box.least[1]) * scale_ + 2 * kMargin));
  }

  std::array<Place, 3> triangle(int t) const {
    std::array<Place, 3> places;
    for (std::size_t k = 0; k < 3; ++k) {
      const qvGeom::MeshUV& uv = mesh_.getUVs()[mesh_.getTriangles()[t].v[k]];
      places[k] = {kMargin + (uv.u - left_) * scale_, kMargin + (top_ - uv.v) * scale_};
    }
    return places;
  }

  int width = static_cast<int>(2 * kMargin);
  int height = static_cast<int>(2 * kMargin);

 private:
  const CompactMesh& mesh_;
  double scale_ = 0;
  double left_ = 0;
  double top_ = 0;
};

double length(const Place& a, const Place& b) { return std::hypot(b.x - a.x, b.y - a.y); }

class Canvas {
 public:
  Canvas(int width, int height)
      : width_(width), height_(height), light_(static_cast<std::size_t>(width) * height, Light{{1, 1, 1}}) {}

  void line(const Place& a, const Place& b, const Light& ink, float opacity) {
    walkLine(a, b, [&](double, const LineDot& first, const LineDot& second) {
      for (const LineDot& at : {first, second}) dot(at, ink, opacity * at.part);
    });
  }

  std::string png() const {
    Picture picture(width_, height_, false);
    for (std::size_t i = 0; i < light_.size(); ++i)
      for (std::size_t k = 0; k < 3; ++k) picture.bytes[3 * i + k] = toScreenByte(light_[i].c[k]);
    return encodePng(picture);
  }

 private:
  void dot(const LineDot& at, const Light& ink, float opacity) {
    if (at.x < 0 || at.y < 0 || at.x >= width_ || at.y >= height_) return;
    Light& light = light_[static_cast<std::size_t>(at.y) * width_ + at.x];
    light = light * (1 - opacity) + ink * opacity;
  }

  int width_;
  int height_;
  std::vector<Light> light_;
};

// Lines that would cover the picture many times over are drawn so lightly that it stays readable.
float opacityFor(const CompactMesh& mesh, const Frame& frame) {
  double total = 0;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    if (!isInLayout(mesh, t)) continue;
    const auto p = frame.triangle(t);
    total += length(p[0], p[1]) + length(p[1], p[2]) + length(p[2], p[0]);
  }
  const double pixels = static_cast<double>(frame.width) * frame.height;
  return static_cast<float>(std::clamp(0.4 * pixels / std::max(total, 1.0), 0.06, 0.7));
}

std::string asPng(const CompactMesh& mesh, const Frame& frame, const std::vector<signed char>& sides) {
  Canvas canvas(frame.width, frame.height);
  const float opacity = opacityFor(mesh, frame);
  const Light black = fromScreen(0.1f, 0.15f, 0.25f), red = fromScreen(0.85f, 0.05f, 0.05f);
  for (const bool flipped : {false, true})
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
      if ((sides[t] < 0) != flipped || !isInLayout(mesh, t)) continue;
      const auto p = frame.triangle(t);
      for (std::size_t k = 0; k < 3; ++k)
        canvas.line(p[k], p[(k + 1) % 3], flipped ? red : black, flipped ? 0.7f : opacity);
    }
  return canvas.png();
}

std::string asSvg(const CompactMesh& mesh, const Frame& frame, const std::vector<signed char>& sides) {
  char text[160];
  std::snprintf(text, sizeof text,
                "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %d %d\" fill=\"none\" "
                "stroke-width=\"0.5\">\n",
                frame.width, frame.height);
  std::string svg = text;
  for (const bool flipped : {false, true}) {
    svg += flipped ? "<path stroke=\"#d11\" d=\"" : "<path stroke=\"#1a2640\" d=\"";
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
      if ((sides[t] < 0) != flipped || !isInLayout(mesh, t)) continue;
      const auto p = frame.triangle(t);
      std::snprintf(text, sizeof text, "M%.2f %.2fL%.2f %.2f %.2f %.2fz\n", p[0].x, p[0].y, p[1].x, p[1].y,
                    p[2].x, p[2].y);
      svg += text;
    }
    svg += "\"/>\n";
  }
  return svg + "</svg>\n";
}

}  // namespace

std::string layoutPicture(const CompactMesh& mesh, LayoutFormat format) {
  const Frame frame(mesh);
  const std::vector<signed char> sides = layoutSides(mesh);
  return format == LayoutFormat::png ? asPng(mesh, frame, sides) : asSvg(mesh, frame, sides);
}

}  // namespace tool
