#include "scalar_options.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "exit_code.h"
#include "mesh_io.h"
#include "number_rows.h"

namespace tool {

ScalarOptions::Added ScalarOptions::addTo(CLI::App& app) {
  return {app.add_option("--scalars", file,
                         "colour by numbers: a text file with one for each vertex, in the order of "
                         "'qvgeom convert --to qvm'; or - for standard input")
              ->type_name("FILE"),
          app.add_option("--range", range,
                         "numbers that have the first and the last colour (default: the extremes)")
              ->type_name("MIN MAX")
              ->expected(2)};
}

void ScalarOptions::check(const std::string& mesh) const {
  if (mesh == "-" && file == "-") throw Failure(kUsage, "only one file can be standard input");
  if (!range.empty() && !(std::isfinite(range[0]) && std::isfinite(range[1]) && range[0] < range[1]))
    throw Failure(kUsage, "--range: the first number must be less than the second");
}

std::vector<double> ScalarOptions::read(const qvGeom::CompactMesh& mesh, Console& console) const {
  NumberRows rows(1);
  rows.read(file, console);
  if (rows.size() != static_cast<std::size_t>(mesh.getNumVertices()))
    throw Failure(kUnreadable, displayName(file, true) + ": " + std::to_string(rows.size()) +
                                   " numbers for the " + std::to_string(mesh.getNumVertices()) +
                                   " vertices of the mesh");
  std::vector<double> numbers;
  for (std::size_t i = 0; i < rows.size(); ++i) numbers.push_back(*rows[i]);
  return numbers;
}

ColourScale ScalarOptions::scaleFor(const std::vector<double>& numbers) const {
  if (!range.empty()) return {range[0], range[1]};
  double low = std::numeric_limits<double>::infinity(), high = -low;
  for (const double number : numbers) {
    if (!std::isfinite(number)) continue;
    low = std::min(low, number);
    high = std::max(high, number);
  }
  return low <= high ? ColourScale{low, high} : ColourScale{};
}

}  // namespace tool
