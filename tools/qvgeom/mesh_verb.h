#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "geom/qvGeom.h"

#include "console.h"
#include "exit_code.h"
#include "mesh_io.h"

namespace tool {

/// The command line of a verb that reads a mesh, writes one, or both.
struct MeshFiles {
  std::string input;
  std::string output;
  std::string format;
  std::string to;

  void addInput(CLI::App& app);
  void addOutput(CLI::App& app);
  /// The format to write; throws a usage failure when it cannot be told.
  Format outputFormat() const { return resolveFormat(output, parseFormat(to), false); }
  /// For verbs whose result only OBJ files hold: throws a usage failure for another output.
  void requireObj(const std::string& what) const;
  /// For verbs that print a report there: throws a usage failure when the mesh is to go there, too.
  void refuseStandardOutput() const;
};

/// Reads the input, lets `change` work on the mesh and writes the output. Both formats are settled before any
/// work: a typing error must not cost the time of reading. Throws as reading and writing do.
/// @param share of the progress that `change` reports, in phases; reading and writing have halves of the rest
ExitCode rewriteMesh(const MeshFiles& files, Console& console,
                     const std::function<void(qvGeom::CompactMesh&)>& change, double share = 0);

/// Runs a part of the work, which covers a share of the program's progress. Throws a failure: interrupted.
void inPhase(Console& console, double share, const char* caption,
             const std::function<void(qvUtil::Progress&)>& work);

using Triangles = std::vector<qvGeom::MeshTriangle>;
Triangles trianglesOf(const qvGeom::CompactMesh& mesh);

/// To be called after an edit that split vertices and left the triangles in their order: a vertex that was
/// split off gets all channels of the one that its triangles had before.
void keepChannels(qvGeom::CompactMesh& mesh, const Triangles& before);

/// To be called after an edit that changed connectivity, which leaves vertex normals behind: computes them
/// anew where the mesh has some.
void refreshNormals(qvGeom::CompactMesh& mesh);

}  // namespace tool
