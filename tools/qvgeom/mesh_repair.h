#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "geom/qvGeom.h"

#include "console.h"
#include "quality.h"

namespace tool {

/// What a repair looks for beyond what it always does.
struct RepairTests {
  bool selfIntersections = false;
  std::optional<double> angles;  ///< degrees

  void addTo(CLI::App& app);
};

/// Mends a mesh step by step, and tells each.
class Repair {
 public:
  struct Step {
    std::string defect;
    int triangles[2];  ///< before and after
    int vertices[2];
    double seconds;
  };

  /// @param cache null, or where the tests take their records from. All must outlive the object.
  Repair(qvGeom::CompactMesh& mesh, const RepairTests& tests, Console& console,
         qvGeom::MeshCache* cache = nullptr);

  Quality examine();
  /// @return whether the mesh is clean now
  bool run();
  const std::vector<Step>& steps() const { return steps_; }

 private:
  void start();
  std::string nextDefect();
  bool step();
  void report(const Step& step);

  qvGeom::CompactMesh& mesh_;
  const RepairTests& tests_;
  Console& console_;
  qvGeom::MeshCache* cache_;
  std::optional<qvGeom::MeshRepair> repair_;
  std::vector<Step> steps_;
};

nlohmann::ordered_json asJson(const std::vector<Repair::Step>& steps);

}  // namespace tool
