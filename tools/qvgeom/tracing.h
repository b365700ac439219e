#pragma once

#include "camera.h"
#include "console.h"
#include "picture.h"
#include "scene.h"

namespace tool {

struct Look {
  int samples = 4;  ///< rays through each pixel, a power of two from 4 on
  int aoRays = 16;  ///< rays from each point of the surface that is seen, a multiple of 4; 0: no occlusion
  enum class Colour { plain, byNormal, byScalar } colour = Colour::plain;
  ColourScale scale;
  Light background = {{1, 1, 1}};  ///< of pictures without alpha
};

/// Traces the picture, its rows in parallel. Same picture for every number of threads. Throws a failure:
/// interrupted.
/// @param scene  with the camera outside
void trace(const Scene& scene, const Camera& camera, const Look& look, Picture& picture, Console& console);

}  // namespace tool
