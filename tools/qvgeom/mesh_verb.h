#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

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
};

/// Reads the input, lets `change` work on the mesh and writes the output. Both formats are settled before any
/// work: a typing error must not cost the time of reading. Throws as reading and writing do.
ExitCode rewriteMesh(const MeshFiles& files, Console& console,
                     const std::function<void(qvGeom::CompactMesh&)>& change);

/// To be called after an edit that changed connectivity, which leaves vertex normals behind: computes them
/// anew where the mesh has some.
void refreshNormals(qvGeom::CompactMesh& mesh);

}  // namespace tool
