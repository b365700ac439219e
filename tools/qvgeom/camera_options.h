#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "geom/qvGeom.h"

#include "camera.h"

namespace tool {

/// The command line of verbs that look at a mesh.
struct CameraOptions {
  std::string size = "900x675";
  std::string view = "iso";
  std::string up = "y";
  double fieldOfView = 30;  ///< degrees

  void addTo(CLI::App& app);
};

/// Largest side of a picture, pixels.
inline constexpr int kLargestSide = 16384;

/// What the options say, settled before any file is read. The camera stands alike for all verbs.
class Viewpoint {
 public:
  int width, height;

  /// Throws a failure: usage.
  explicit Viewpoint(const CameraOptions& options);
  /// @param staged what is to fill the picture; without vertices the camera stands anywhere
  Camera cameraFor(const qvGeom::CompactMesh& staged) const;

 private:
  qvLinear::Vector up_, back_;
  double fieldOfView_;  // radians
};

}  // namespace tool
