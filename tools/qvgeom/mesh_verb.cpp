#include "mesh_verb.h"

namespace tool {

void MeshFiles::addInput(CLI::App& app) {
  app.add_option("IN", input, "mesh file (.obj, .qvm), or - for standard input")->required();
  app.add_option("--format", format, "format of the input: obj or qvm; by default its name tells");
}

void MeshFiles::addOutput(CLI::App& app) {
  app.add_option("-o,--output", output, "file to write, or - for standard output")->required();
  app.add_option("--to", to, "format of the output: obj or qvm; by default its name tells");
}

ExitCode rewriteMesh(const MeshFiles& files, Console& console,
                     const std::function<void(qvGeom::CompactMesh&)>& change) {
  const Format from = resolveFormat(files.input, parseFormat(files.format), true);
  const Format to = files.outputFormat();
  qvGeom::CompactMesh mesh;
  readMesh(files.input, from, 0.5, console, mesh);
  change(mesh);
  console.throwIfInterrupted();
  writeMesh(mesh, files.output, to, 0.5, console);
  return kDone;
}

void refreshNormals(qvGeom::CompactMesh& mesh) {
  if (mesh.getNormals()) meshComputeNormals(mesh);
}

}  // namespace tool
