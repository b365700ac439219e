// The verbs pack and bounds.

#include <memory>
#include <nlohmann/json.hpp>

#include "mesh_io.h"
#include "number_rows.h"
#include "quality.h"
#include "verbs.h"

namespace tool {

using qvLinear::Point2;
using qvLinear::Range2d;

namespace {

struct Options {
  std::string file;
  int steps = 10;
  double margin = 0;
  bool json = false;
};

void addFile(CLI::App& app, const char* name, const char* lines, Options& options) {
  app.add_option(name, options.file,
                 std::string("text file with ") + lines +
                     " a line, or - for standard input; empty lines and lines that begin with # are skipped")
      ->required();
}

void appendLine(std::string& text, std::initializer_list<double> values) {
  appendNumbers(text, values.begin(), static_cast<int>(values.size()), " ");
  text += '\n';
}

ExitCode runPack(const Options& options, Console& console) {
  NumberRows sizes(2);
  sizes.read(options.file, console);
  qv::vector<Range2d> ranges;
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    if (sizes[i][0] < 0 || sizes[i][1] < 0)
      throw Failure(kUnreadable, displayName(options.file, true) + ": rectangle " + std::to_string(i) +
                                     " has a negative size");
    ranges.emplace_back(Point2(), Point2(sizes[i][0], sizes[i][1]));
  }
  console.progress().setCaption("packing");
  qvGeom::pack(ranges, options.steps);
  console.throwIfInterrupted();
  std::string text;
  for (const Range2d& r : ranges) appendLine(text, {r.min[0], r.min[1], r.max[0], r.max[1]});
  writeStandardOutput(text);
  return kDone;
}

std::string boundsAsJson(const qvGeom::Rect2& rect, float ratio, const qv::vector<int>& hull) {
  nlohmann::ordered_json json{{"schema", 1}, {"corners", nullptr}, {"ratio", nullptr}, {"hull", hull}};
  if (ratio > 0) {
    for (const Point2& p : rect.corner) json["corners"].push_back({p[0], p[1]});
    json["ratio"] = ratio;
  }
  return dump(json);
}

ExitCode runBounds(const Options& options, Console& console) {
  NumberRows rows(2);
  rows.read(options.file, console);
  qvGeom::Polyline2d line;
  qv::vector<Point2> points;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    points.emplace_back(rows[i][0], rows[i][1]);
    line.append(points.back(), 0);
  }
  qvGeom::Rect2 rect;
  float ratio = 0;
  minAreaBound(qv::vector<const qvGeom::Polyline2d*>{&line}, options.margin, rect, ratio);
  qv::vector<int> hull;
  qvGeom::convexHull2d(points, hull);
  console.throwIfInterrupted();
  std::string text;
  if (ratio > 0)
    for (const Point2& p : rect.corner) appendLine(text, {p[0], p[1]});
  writeStandardOutput(options.json ? boundsAsJson(rect, ratio, hull) : text);
  return kDone;
}

}  // namespace

Verb makePack(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("pack", "Lay rectangles out in the unit square");
  addFile(*app, "SIZES", "a width and a height", *options);
  app->add_option("--steps", options->steps, "attempts until sizes are halved; more waste less (default: 10)")
      ->check(CLI::Range(1, 1000));
  app->footer(
      "Prints the corners x0 y0 x1 y1 of each rectangle. All are shrunk alike until they fit, and none is "
      "turned.\n\n"
      "Examples:\n  qvgeom pack sizes.txt\n  printf '2 1\\n1 1\\n' | qvgeom pack --steps 100 -");
  return {app, [options](Console& console) { return runPack(*options, console); }};
}

Verb makeBounds(CLI::App& program) {
  auto options = std::make_shared<Options>();
  CLI::App* app = program.add_subcommand("bounds", "Find the smallest rectangle around points of the plane");
  addFile(*app, "POINTS", "a point x y", *options);
  app->add_option("--margin", options->margin, "grow the rectangle by this on every side");
  app->add_flag("--json", options->json, "print one JSON object, also with the convex hull");
  app->footer(
      "Prints the four corners x y, counter-clockwise; nothing without points.\n\n"
      "Examples:\n  qvgeom bounds points.txt\n  qvgeom bounds --json --margin 0.5 points.txt");
  return {app, [options](Console& console) { return runBounds(*options, console); }};
}

}  // namespace tool
