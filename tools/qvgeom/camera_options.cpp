#include "camera_options.h"

#include <charconv>
#include <numbers>
#include <string_view>

#include "exit_code.h"

namespace tool {

namespace {

bool parseSide(std::string_view text, int& side) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), side);
  return error == std::errc() && end == text.data() + text.size() && side >= 1 && side <= kLargestSide;
}

void parseSize(const std::string& text, int& width, int& height) {
  const std::size_t cross = text.find('x');
  if (cross == std::string::npos || !parseSide(std::string_view(text).substr(0, cross), width) ||
      !parseSide(std::string_view(text).substr(cross + 1), height))
    throw Failure(kUsage, "--size: '" + text + "' is not WIDTHxHEIGHT with sides up to " +
                              std::to_string(kLargestSide));
}

}  // namespace

void CameraOptions::addTo(CLI::App& app) {
  app.add_option("--size", size, "in pixels")->type_name("WxH")->capture_default_str();
  app.add_option(
         "--view", view,
         "where the camera stands: a direction x,y,z from the mesh, an axis such as -x, or front, back, "
         "left, right, top, bottom or iso")
      ->type_name("VIEW")
      ->capture_default_str();
  app.add_option("--up", up, "what is up: a direction x,y,z or an axis")
      ->type_name("DIR")
      ->capture_default_str();
  app.add_option("--fov", fieldOfView, "angle of view in degrees, along the shorter side")
      ->capture_default_str()
      ->check(CLI::Range(1.0, 120.0));
}

Viewpoint::Viewpoint(const CameraOptions& options)
    : fieldOfView_(options.fieldOfView * std::numbers::pi / 180) {
  parseSize(options.size, width, height);
  up_ = parseDirection(options.up, "--up");
  back_ = parseView(options.view, up_);
}

Camera Viewpoint::cameraFor(const qvGeom::CompactMesh& staged) const {
  Camera camera(back_, up_, fieldOfView_, width, height);
  if (staged.getNumVertices() > 0) camera.fit(staged.getVertices(), staged.getNumVertices());
  return camera;
}

}  // namespace tool
