#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "geom/qvGeom.h"

#include "console.h"
#include "picture.h"

namespace tool {

/// The command line of verbs that colour by numbers.
struct ScalarOptions {
  std::string file;           ///< with a number for each vertex; empty without
  std::vector<double> range;  ///< empty, or two numbers

  struct Added {
    CLI::Option* file;
    CLI::Option* range;
  };
  /// @return the options, to be told what they need and exclude
  Added addTo(CLI::App& app);
  /// Throws a usage failure for what can be told before any file is read.
  /// @param mesh its file, which cannot be standard input when the numbers are
  void check(const std::string& mesh) const;
  /// Reads the file. Throws a failure: unreadable, also when there is not one number for each vertex;
  /// interrupted.
  std::vector<double> read(const qvGeom::CompactMesh& mesh, Console& console) const;
  /// From the least to the greatest of the numbers that are finite, unless there is a range.
  ColourScale scaleFor(const std::vector<double>& numbers) const;
};

}  // namespace tool
