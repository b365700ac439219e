#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "geom/qvGeom.h"

#include "console.h"

namespace tool {

/// The tests that are not always made.
struct QualityTests {
  bool intersections = true;
  std::optional<double> minAngle;  ///< degrees; without it folded edges are no defect
};

/// What is wrong with a mesh, test by test, ready to be shown.
struct Quality {
  /// Elements of one kind that fail a test.
  struct Defect {
    const char* key;                 ///< of the count in JSON; null where only the table tells
    std::string sentence;            ///< with the count
    std::string mend;                ///< what to do about it
    std::optional<int> count;        ///< none when the test was not asked for
    std::vector<std::string> first;  ///< numbers of the first few
  };
  struct Test {
    const char* key;
    const char* name;
    std::optional<bool> passes;  ///< none when it was not asked for
    std::vector<Defect> defects;
  };

  std::vector<Test> tests;
  double maxDihedralAngleDegrees = 0;

  /// Whether no test that was asked for fails.
  bool isClean() const;
  /// The names of those that fail, with commas.
  std::string failing() const;
  nlohmann::ordered_json asJson() const;
  std::string asTable() const;
};

/// Makes the tests; those that the characteristics have made before are not made again. Throws a failure:
/// interrupted.
Quality examine(const qvGeom::CompactMesh& mesh, qvGeom::MeshCharacteristics& characteristics,
                const QualityTests& asked, Console& console);

/// Of an option with an angle between two triangles: 0 to 180 degrees.
CLI::Validator angle();

/// Text of a JSON report. A file name in it need not be UTF-8.
std::string dump(const nlohmann::ordered_json& json);

}  // namespace tool
