#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "baking.h"
#include "camera_options.h"
#include "curvature_values.h"
#include "layout.h"
#include "mesh_io.h"
#include "scalar_options.h"
#include "spatial_mesh.h"
#include "stage.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;
using qvGeom::MeshCoord;
using qvLinear::Point;

namespace {

struct Options {
  std::string input;
  std::string format;
  std::string output;
  std::string quantity = "normal";
  ScalarOptions scalars;
  int size = 1024;
};

unsigned char byteOf(double part) {
  return static_cast<unsigned char>(std::lround(255 * std::clamp(part, 0.0, 1.0)));
}

// Colours of numbers, from a table: next to making a colour the rest of a pixel takes no time.
class ColourTable {
 public:
  explicit ColourTable(const ColourScale& scale) : scale_(scale) {
    for (int i = 0; i < kSteps; ++i) {
      const double part = static_cast<double>(i) / (kSteps - 1);
      const Light light = scale.colour((1 - part) * scale.low + part * scale.high);
      for (std::size_t k = 0; k < 3; ++k) colours_[static_cast<std::size_t>(i)][k] = toScreenByte(light.c[k]);
    }
  }
  /// @param number finite
  void get(double number, unsigned char* colour) const {
    const double part = scale_.high > scale_.low ? (number - scale_.low) / (scale_.high - scale_.low) : 0;
    const auto step = static_cast<std::size_t>(std::lround(std::clamp(part, 0.0, 1.0) * (kSteps - 1)));
    std::copy(colours_[step].begin(), colours_[step].end(), colour);
  }

 private:
  static constexpr int kSteps = 1 << 12;  // neighbours differ by less than a byte's step

  ColourScale scale_;
  std::array<std::array<unsigned char, 3>, kSteps> colours_;
};

// @param numberAt may be NaN: there is no colour then
template <typename NumberAt>
Paint paintNumbers(const ColourScale& scale, NumberAt numberAt) {
  const auto table = std::make_shared<ColourTable>(scale);
  return [table, numberAt = std::move(numberAt)](const MeshCoord& at, unsigned char* colour) {
    const double number = numberAt(at);
    if (std::isfinite(number)) table->get(number, colour);
    return std::isfinite(number);
  };
}

Paint paintByVertex(const CompactMesh& mesh, std::vector<double> numbers, const ScalarOptions& options) {
  const ColourScale scale = options.scaleFor(numbers);
  return paintNumbers(scale, [&mesh, numbers = std::move(numbers)](const MeshCoord& at) {
    double sum = 0;
    for (int k = 0; k < 3; ++k)
      sum += at.weight[k] * numbers[static_cast<std::size_t>(mesh.getTriangles()[at.triangle][k])];
    return sum;
  });
}

Paint paintStretch(const CompactMesh& mesh, const ScalarOptions& options) {
  std::vector<double> stretches = layoutStretches(mesh);
  const ColourScale scale = options.scaleFor(stretches);
  return paintNumbers(scale, [stretches = std::move(stretches)](const MeshCoord& at) {
    return stretches[static_cast<std::size_t>(at.triangle)];
  });
}

// Three numbers of which each is one part of the colour, and 0 to 1.
bool colourOf(const double (&parts)[3], unsigned char* colour) {
  for (int k = 0; k < 3; ++k) {
    if (!std::isfinite(parts[k])) return false;
    colour[k] = byteOf(parts[k]);
  }
  return true;
}

Paint paintPositions(const CompactMesh& mesh) {
  qvGeom::BoundingBox box;
  for (int v = 0; v < mesh.getNumVertices(); ++v)
    if (isFinite(mesh.getVertices()[v].asPoint())) box.extend(&mesh.getVertices()[v].x);
  return [&mesh, box](const MeshCoord& at, unsigned char* colour) {
    const Point p = at.evaluate(mesh.getVertices(), mesh.getTriangles());
    double parts[3];
    for (int k = 0; k < 3; ++k) {
      const double low = double{box.minPt()[k]}, extent = double{box.maxPt()[k]} - low;
      parts[k] = extent > 0 ? (p[k] - low) / extent : 0.5;
    }
    return colourOf(parts, colour);
  };
}

Paint paintNormals(CompactMesh& mesh, Console& console) {
  if (!mesh.getNormals()) computeNormalsByPosition(mesh, console);
  return [&mesh](const MeshCoord& at, unsigned char* colour) {
    qvLinear::Vector normal;
    for (int k = 0; k < 3; ++k)
      normal += at.weight[k] * mesh.getNormals()[mesh.getTriangles()[at.triangle][k]].asVector();
    normal.normalize();
    const double parts[3] = {0.5 + 0.5 * normal[0], 0.5 + 0.5 * normal[1], 0.5 + 0.5 * normal[2]};
    return colourOf(parts, colour);
  };
}

// Colours that differ from those of the numbers before: hues a golden section of the circle apart.
Paint paintTriangles() {
  return [](const MeshCoord& at, unsigned char* colour) {
    const double hue = std::fmod(0.6180339887498949 * at.triangle, 1.0);
    const double brightness = 0.7 + 0.15 * (at.triangle % 3);
    for (int k = 0; k < 3; ++k) {
      const double away = std::fabs(std::fmod(6 * hue + 2 * k, 6.0) - 3);
      colour[k] = byteOf(brightness * std::clamp(0.25 + away - 1, 0.25, 1.0));
    }
    return true;
  };
}

// Of the surface, not of the layout: its seams, where vertices are doubled, are no boundaries.
std::vector<double> curvatures(const CompactMesh& mesh, qvGeom::MeshCurvature kind, Console& console) {
  CompactMesh welded = mesh;
  qvGeom::Remap remap;
  weldPositions(welded, console, remap);
  const qv::vector<float> found = vertexCurvatures(welded, kind, console);
  std::vector<double> values;
  for (int v = 0; v < mesh.getNumVertices(); ++v)
    values.push_back(double{found[static_cast<std::size_t>(remap(v))]});
  return values;
}

Paint makePaint(const Options& options, CompactMesh& mesh, Console& console) {
  const ScalarOptions& scalars = options.scalars;
  if (!scalars.file.empty()) return paintByVertex(mesh, scalars.read(mesh, console), scalars);
  if (options.quantity == "position") return paintPositions(mesh);
  if (options.quantity == "normal") return paintNormals(mesh, console);
  if (options.quantity == "triangle") return paintTriangles();
  if (options.quantity == "stretch") return paintStretch(mesh, scalars);
  const auto kind = options.quantity == "mean" ? qvGeom::MeshCurvatureMean : qvGeom::MeshCurvatureGaussian;
  return paintByVertex(mesh, curvatures(mesh, kind, console), scalars);
}

bool hasScale(const Options& o) {
  return !o.scalars.file.empty() || o.quantity == "mean" || o.quantity == "gaussian" ||
         o.quantity == "stretch";
}

ExitCode runBake(const Options& options, Console& console) {
  const Format format = resolveFormat(options.input, parseFormat(options.format), true);
  options.scalars.check(options.input);
  if (!options.scalars.range.empty() && !hasScale(options))
    throw Failure(kUsage, "--range: there is no scale for the quantity '" + options.quantity + "'");
  CompactMesh mesh;
  readMesh(options.input, format, 0.2, console, mesh);
  if (!mesh.getUVs())
    throw Failure(kNotWritten, displayName(options.input, true) +
                                   ": no texture coordinates; 'qvgeom flatten' gives a mesh some");
  const Paint paint = makePaint(options, mesh, console);
  writeBytes(encodePng(bakeLayout(mesh, options.size, paint, console)), options.output);
  return kDone;
}

}  // namespace

Verb makeBake(CLI::App& program) {
  auto options = std::make_shared<Options>();
  Options& o = *options;
  CLI::App* app =
      program.add_subcommand("bake", "Draw a quantity of a surface where its texture coordinates are");
  app->add_option("MESH", o.input, "mesh file (.obj), or - for standard input")->required();
  app->add_option("-o,--output", o.output, "PNG file to write, or - for standard output")->required();
  app->add_option("--format", o.format, "format of the mesh: obj or qvm; by default its name tells");
  app->add_option("--size", o.size, "pixels along each side")
      ->capture_default_str()
      ->check(CLI::Range(1, kLargestSide));
  auto* quantity =
      app->add_option("--quantity", o.quantity,
                      "mean or gaussian (curvature), position, normal, stretch or triangle")
          ->capture_default_str()
          ->check(CLI::IsMember({"mean", "gaussian", "position", "normal", "stretch", "triangle"}));
  o.scalars.addTo(*app).file->excludes(quantity);
  app->footer(
      "Texture coordinates within the unit square are taken as they are, others are fitted into it; v is "
      "up.\n"
      "What no triangle covers is transparent.\n\n"
      "Examples:\n  qvgeom bake mask-uv.obj -o normals.png --size 2048\n"
      "  qvgeom bake mask-uv.obj -o bends.png --quantity mean --range -50 50");
  return {app, [options](Console& console) { return runBake(*options, console); }};
}

}  // namespace tool
