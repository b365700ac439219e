#include <algorithm>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "mesh_io.h"
#include "quality.h"
#include "verbs.h"

namespace tool {

using qvGeom::CompactMesh;
using qvGeom::MeshMassCalculator;

namespace {

using Meshes = qv::list<qv::Reference<CompactMesh>>;

struct Options {
  std::vector<std::string> files;
  std::string format;
  bool json = false;
};

struct Report {
  double area = 0;
  double volume = 0;
  double first[3][3] = {};  // of x, y and z; each along the three axes
  double second[3][3] = {};
  double centroid[3] = {};
};

Report measure(Meshes& meshes) {
  const MeshMassCalculator calculator(meshes);
  Report r;
  r.area = calculator.calculateArea();
  r.volume = calculator.calculateVolume();
  for (const int axis : {0, 1, 2}) {
    const auto along = static_cast<MeshMassCalculator::Axis>(axis);
    calculator.calculateFirstMom(r.first[0][axis], r.first[1][axis], r.first[2][axis], along);
    calculator.calculateSecondMom(r.second[0][axis], r.second[1][axis], r.second[2][axis], along);
  }
  calculator.calculateCentroid(r.centroid[0], r.centroid[1], r.centroid[2]);
  return r;
}

std::string asJson(const Report& r, const std::vector<std::string>& files) {
  const auto byCoordinate = [](const double(&moments)[3][3]) {
    return nlohmann::ordered_json{{"x", moments[0]}, {"y", moments[1]}, {"z", moments[2]}};
  };
  return dump({{"schema", 1},
               {"files", files},
               {"area", r.area},
               {"volume", r.volume},
               {"firstMoment", byCoordinate(r.first)},
               {"secondMoment", byCoordinate(r.second)},
               {"centroid", r.centroid}});
}

std::string asTable(const Report& r) {
  std::string text;
  const auto row = [&](const char* name, double const* values, int n) {
    char cell[64];
    std::snprintf(cell, sizeof cell, "%-18s", name);
    text += cell;
    for (int i = 0; i < n; ++i) {
      std::snprintf(cell, sizeof cell, i + 1 < n ? "%-15.9g" : "%.9g\n", values[i]);
      text += cell;
    }
  };
  row("area", &r.area, 1);
  row("volume", &r.volume, 1);
  row("first moment x", r.first[0], 3);
  row("first moment y", r.first[1], 3);
  row("first moment z", r.first[2], 3);
  row("second moment x", r.second[0], 3);
  row("second moment y", r.second[1], 3);
  row("second moment z", r.second[2], 3);
  row("centroid", r.centroid, 3);
  return text;
}

ExitCode runMass(const Options& options, Console& console) {
  if (std::count(options.files.begin(), options.files.end(), "-") > 1)
    throw Failure(kUsage, "only one file can be standard input");
  const Format format = parseFormat(options.format);
  for (const std::string& file : options.files) resolveFormat(file, format, true);
  Meshes meshes;
  for (const std::string& file : options.files) {
    meshes.emplace_back(new CompactMesh);
    readMesh(file, format, 0.9 / static_cast<double>(options.files.size()), console, *meshes.back());
  }
  const Report report = measure(meshes);
  console.throwIfInterrupted();
  writeStandardOutput(options.json ? asJson(report, options.files) : asTable(report));
  return kDone;
}

}  // namespace

Verb makeMass(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("mass", "Measure what closed meshes enclose: volume and moments");
  app->add_option("FILE", options->files, "mesh files (.obj, .qvm); one can be - for standard input")
      ->required();
  app->add_option("--format", options->format,
                  "format of all files: obj or qvm; by default their names tell");
  app->add_flag("--json", options->json, "print one JSON object instead of a table");
  app->footer(
      "Meshes are taken together; they should be closed, with triangles counter-clockwise seen from outside. "
      "The\n"
      "moments of x, y and z, and of their squares, are given along each of the three axes: where these "
      "three\n"
      "numbers differ, a mesh is open.\n\n"
      "Examples:\n  qvgeom mass part.obj\n  qvgeom mass --json part.obj lid.obj");
  return {app, [options](Console& console) { return runMass(*options, console); }};
}

}  // namespace tool
