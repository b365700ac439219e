#pragma once

#include <string>

#include "geom/model/keel/matrices.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/elements.h"

#include "picture.h"

namespace tool {

/// A perspective camera. Pictures are measured in pixels, x to the right and y downwards, from their upper
/// left corner.
class Camera {
 public:
  /// @param back  direction from what is seen to the camera
  /// @param up    direction that is upright in the picture, as far as possible; neither of the two is zero
  /// @param fieldOfView angle between the borders of the picture that are nearer to each other, radians
  Camera(qvLinear::Vector back, qvLinear::Vector up, double fieldOfView, int width, int height);

  /// Moves the camera to where the points just fill the picture, but for a margin.
  /// @param n at least 1
  void fit(qvGeom::MeshVertex const* points, int n);

  const qvLinear::Point& position() const { return position_; }
  /// Unit direction through a place of the picture.
  qvLinear::Vector direction(double x, double y) const;
  /// Takes points to clip space, where w is their depth: how far they lie in front of the camera, along the
  /// line of sight. What was fitted lies within its near and its far side.
  qvLinear::ProjMatrixFlt projection() const;
  /// Where in the picture a point of clip space is seen. @param p with w > 0
  Place place(const qvLinear::HPoint& p) const;
  /// Unit directions of the picture.
  const qvLinear::Vector& right() const { return right_; }
  const qvLinear::Vector& up() const { return up_; }
  const qvLinear::Vector& back() const { return back_; }

 private:
  int width_, height_;
  qvLinear::Vector right_, up_, back_;
  qvLinear::Point position_;
  double halfWidth_, halfHeight_;          // of the picture at distance 1
  double pixel_;                           // likewise
  double nearDepth_ = 0.5, farDepth_ = 2;  // of the sides of clip space
};

/// Direction of an option: "x,y,z", or an axis with or without a sign ("-z"). Throws a usage failure that
/// names the option, also for a zero direction.
qvLinear::Vector parseDirection(const std::string& text, const std::string& option);

/// Where a camera stands, seen from the mesh: a direction as above, or front, back, left, right, top, bottom
/// or iso, which follow from what is up. Throws a usage failure.
qvLinear::Vector parseView(const std::string& text, const qvLinear::Vector& up);

}  // namespace tool
