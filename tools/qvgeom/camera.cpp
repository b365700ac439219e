#include "camera.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

#include "exit_code.h"

namespace tool {

using qvLinear::Point;
using qvLinear::Vector;

namespace {

constexpr double kMargin = 0.05;  // of the picture, on each side

// The axis that runs to the right in front views.
Vector rightOf(const Vector& up) {
  Vector right = Vector::x - dot(Vector::x, up) * up;
  if (right.normalize() && std::fabs(dot(Vector::x, up)) < 0.9) return right;
  right = Vector::z - dot(Vector::z, up) * up;
  right.normalize();
  return right;
}

}  // namespace

Camera::Camera(Vector back, Vector up, double fieldOfView, int width, int height)
    : width_(width), height_(height), up_(up), back_(back) {
  back_.normalize();
  up_.normalize();
  // Looking straight down, what lies behind is up in the picture; looking up, what lies in front.
  if (isParallel(back_, up_, 1e-4)) {
    const Vector front = cross(rightOf(up_), up_);
    up_ = dot(back_, up_) > 0 ? -front : front;
  }
  right_ = cross(up_, back_);
  right_.normalize();
  up_ = cross(back_, right_);
  pixel_ = 2 * std::tan(fieldOfView / 2) / std::min(width, height);
  halfWidth_ = pixel_ * width / 2;
  halfHeight_ = pixel_ * height / 2;
}

void Camera::fit(qvGeom::MeshVertex const* points, int n) {
  // A point at (x, y, z) of the camera's frame is in view from (cx, cy, d) when |x - cx| <= (d - z) w, and so
  // in y: each side of the picture bounds d from below by a maximum over the points, and the best cx makes
  // the bounds of two opposite sides equal.
  constexpr double kNone = -std::numeric_limits<double>::infinity();
  const double w = halfWidth_ * (1 - 2 * kMargin);
  const double h = halfHeight_ * (1 - 2 * kMargin);
  double right = kNone, left = kNone, top = kNone, bottom = kNone, nearest = kNone, farthest = -kNone;
  for (int i = 0; i < n; ++i) {
    const Vector p = points[i].asPoint() - Point();
    const double x = dot(p, right_) / w;
    const double y = dot(p, up_) / h;
    const double z = dot(p, back_);
    right = std::max(right, z + x);
    left = std::max(left, z - x);
    top = std::max(top, z + y);
    bottom = std::max(bottom, z - y);
    nearest = std::max(nearest, z);
    farthest = std::min(farthest, z);
  }
  // A flat mesh seen from its side must not lie in the camera.
  const double distance =
      std::max({(right + left) / 2, (top + bottom) / 2, nearest + 0.05 * (nearest - farthest)});
  position_ = Point() + (w * (right - left) / 2) * right_ + (h * (top - bottom) / 2) * up_ + distance * back_;
  nearDepth_ = 0.5 * (distance - nearest);
  farDepth_ = 2 * (distance - farthest);
}

qvLinear::ProjMatrixFlt Camera::projection() const {
  const double range = farDepth_ - nearDepth_;
  const Vector rows[4] = {1 / halfWidth_ * right_, 1 / halfHeight_ * up_,
                          -(farDepth_ + nearDepth_) / range * back_, -back_};
  const double shifts[4] = {0, 0, -2 * farDepth_ * nearDepth_ / range, 0};
  qvLinear::ProjMatrixFlt projection;
  for (int r = 0; r < 4; ++r) {
    for (int k = 0; k < 3; ++k) projection.m[4 * k + r] = static_cast<float>(rows[r][k]);
    projection.m[12 + r] = static_cast<float>(shifts[r] - dot(rows[r], position_ - Point()));
  }
  return projection;
}

Place Camera::place(const qvLinear::HPoint& p) const {
  return {(1 + p[0] / p[3]) / 2 * width_, (1 - p[1] / p[3]) / 2 * height_};
}

Vector Camera::direction(double x, double y) const {
  Vector d = (x * pixel_ - halfWidth_) * right_ + (halfHeight_ - y * pixel_) * up_ - back_;
  d.normalize();
  return d;
}

Vector parseDirection(const std::string& text, const std::string& option) {
  const bool isNegative = text.starts_with('-');
  const std::string axis = text.substr(isNegative ? 1 : 0);
  for (int k = 0; k < 3; ++k)
    if (axis == std::string(1, "xyz"[k]))
      return (isNegative ? -1.0 : 1.0) * qvLinear::axisVector<double, 3>(k);
  Vector d;
  std::string_view rest = text;
  for (int k = 0; k < 3; ++k) {
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), d[k]);
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    if (error != std::errc() || (k < 2 ? !rest.starts_with(',') : !rest.empty()))
      throw Failure(kUsage, option + ": '" + text + "' is not a direction");
    if (k < 2) rest.remove_prefix(1);
  }
  if (!d.normalize()) throw Failure(kUsage, option + ": '" + text + "' has no direction");
  return d;
}

Vector parseView(const std::string& text, const Vector& upward) {
  Vector up = upward;
  up.normalize();
  const Vector right = rightOf(up);
  const Vector front = cross(right, up);
  if (text == "front") return front;
  if (text == "back") return -front;
  if (text == "left") return -right;
  if (text == "right") return right;
  if (text == "top") return up;
  if (text == "bottom") return -up;
  if (text == "iso") return front + 0.75 * right + 0.65 * up;
  return parseDirection(text, "--view");
}

}  // namespace tool
