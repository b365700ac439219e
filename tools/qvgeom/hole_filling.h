#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "geom/qvGeom.h"

#include "console.h"
#include "loop_choice.h"

namespace tool {

/// Which holes to fill, and how.
struct HolePlan {
  std::string quality = "refine";
  LoopChoice holes{"--holes", "hole"};
  int maxLength = 3000;  ///< edges; the work grows with the third power, and takes seconds here

  void addQuality(CLI::App& app, const std::string& name, const std::vector<std::string>& more = {});
  void addMaxLength(CLI::App& app);
  qvGeom::HoleQuality hole() const;
};

/// What became of the holes that were to be filled.
struct Filling {
  struct Hole {
    int number;
    int edges;
    std::string skipped;  ///< why; empty when filled
  };
  std::vector<Hole> holes;
  int vertices[2] = {};  ///< before and after
  int triangles[2] = {};

  int numOpen() const;
  nlohmann::ordered_json asJson() const;
};

/// Fills boundary loops. Vertices keep their channels; new ones have zeros there, but for positions. Throws
/// failures: usage, for a number that no loop has; interrupted.
Filling fillHoles(qvGeom::CompactMesh& mesh, const HolePlan& plan, double share, Console& console);

/// Tells the holes that stayed open and why, and those that were filled if asked to, on standard error.
void report(const Filling& filling, bool eachHole, Console& console);

}  // namespace tool
