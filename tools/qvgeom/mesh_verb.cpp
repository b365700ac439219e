#include "mesh_verb.h"

#include <algorithm>
#include <cstddef>

namespace tool {

void MeshFiles::addInput(CLI::App& app) {
  app.add_option("IN", input, "mesh file (.obj, .qvm), or - for standard input")->required();
  app.add_option("--format", format, "format of the input: obj or qvm; by default its name tells");
}

void MeshFiles::addOutput(CLI::App& app) {
  app.add_option("-o,--output", output, "file to write, or - for standard output")->required();
  app.add_option("--to", to, "format of the output: obj or qvm; by default its name tells");
}

void MeshFiles::requireObj(const std::string& what) const {
  if (outputFormat() != Format::obj)
    throw Failure(kUsage, displayName(output, false) + ": only obj files hold " + what);
}

void MeshFiles::refuseStandardOutput() const {
  if (output == "-") throw Failure(kUsage, "--json and the mesh cannot both go to standard output");
}

ExitCode rewriteMesh(const MeshFiles& files, Console& console,
                     const std::function<void(qvGeom::CompactMesh&)>& change, double share) {
  const Format from = resolveFormat(files.input, parseFormat(files.format), true);
  const Format to = files.outputFormat();
  qvGeom::CompactMesh mesh;
  readMesh(files.input, from, (1 - share) / 2, console, mesh);
  change(mesh);
  console.throwIfInterrupted();
  writeMesh(mesh, files.output, to, (1 - share) / 2, console);
  return kDone;
}

void inPhase(Console& console, double share, const char* caption,
             const std::function<void(qvUtil::Progress&)>& work) {
  qvUtil::Progress phase;
  console.progress().setCaption(caption);
  console.progress().subPhase(share, phase);
  work(phase);
  console.throwIfInterrupted();
  phase.set(1);
}

Triangles trianglesOf(const qvGeom::CompactMesh& mesh) {
  return {mesh.getTriangles(), mesh.getTriangles() + mesh.getNumTriangles()};
}

void keepChannels(qvGeom::CompactMesh& mesh, const Triangles& before) {
  for (std::size_t t = 0; t < before.size(); ++t)
    for (int k = 0; k < 3; ++k) {
      const int from = before[t][k], to = mesh.getTriangles()[t][k];
      if (from == to) continue;
      for (int i = 0; i < mesh.getNumAttributes(); ++i) {
        const int n = mesh.getAttributes(i)->getNumComponents();
        float* values = mesh.getAttributes(i)->asFloat();
        std::copy_n(values + std::ptrdiff_t{n} * from, n, values + std::ptrdiff_t{n} * to);
      }
    }
}

void refreshNormals(qvGeom::CompactMesh& mesh) {
  if (mesh.getNormals()) meshComputeNormals(mesh);
}

}  // namespace tool
