#pragma once

#include "camera.h"
#include "console.h"
#include "picture.h"
#include "scene.h"

namespace tool {

/// Draws the edges of the scene's triangles over its picture, each once, as dark lines a pixel wide, as far
/// as nothing lies in front of them. Where they crowd, all of them are drawn lighter. Lines reach half a
/// pixel beyond the surface, also where there is no background. Same picture for every number of threads.
/// Throws a failure: interrupted.
/// @param camera with which the picture was traced
void drawWireframe(const Scene& scene, const Camera& camera, Picture& picture, Console& console);

}  // namespace tool
