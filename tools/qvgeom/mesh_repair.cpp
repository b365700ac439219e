#include "mesh_repair.h"

#include <cstdio>

#include "mesh_verb.h"

namespace tool {

using qvGeom::CompactMesh;
using qvGeom::MeshCharacteristics;

void RepairTests::addTo(CLI::App& app) {
  app.add_flag("--self-intersections", selfIntersections, "delete triangles that cross each other");
  app.add_option("--angles", angles, "delete the triangles at edges where they enclose no more than this")
      ->type_name("DEGREES")
      ->check(angle());
}

Repair::Repair(CompactMesh& mesh, const RepairTests& tests, Console& console, qvGeom::MeshCache* cache)
    : mesh_(mesh), tests_(tests), console_(console), cache_(cache) {
  start();
}

Quality Repair::examine() {
  return tool::examine(mesh_, *repair_->getCharacteristics(), {tests_.selfIntersections, tests_.angles},
                       console_);
}

// A driver deletes one one-sided piece and then stops; the parts behind that were not even looked at.
bool Repair::run() {
  console_.progress().setCaption("repairing");
  int triangles = 0;
  do {
    triangles = mesh_.getNumTriangles();
    start();
    while (step()) console_.throwIfInterrupted();
  } while (repair_->needsRepair() && mesh_.getNumTriangles() < triangles);
  if (!steps_.empty()) refreshNormals(mesh_);
  return !repair_->needsRepair();
}

void Repair::start() {
  repair_.emplace(mesh_);
  if (cache_) repair_->getCharacteristics()->setCache(*cache_);
  repair_->checkSelfIntersection(tests_.selfIntersections);
  repair_->checkGoodAngles(tests_.angles.has_value());
  if (tests_.angles) repair_->setMinGoodAngle(*tests_.angles);
}

// What the next step mends: the order is that of the steps. Empty when nothing is wrong.
std::string Repair::nextDefect() {
  MeshCharacteristics& found = *repair_->getCharacteristics();
  const auto counted = [](int n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
  };
  const auto passes = [this](bool good) {
    console_.throwIfInterrupted();
    return good;
  };
  if (!passes(found.checkGoodTriangles()))
    return counted(found.getNumBadTriangles(), "duplicate or degenerate triangle",
                   "duplicate or degenerate triangles");
  if (!passes(found.checkManifold())) {
    if (const int edges = found.getNumNonManifoldEdges())
      return counted(edges, "non-manifold edge", "non-manifold edges");
    return counted(found.getNumNonManifoldVertices(), "non-manifold vertex", "non-manifold vertices");
  }
  if (!passes(found.checkOriented()))
    return repair_->hasMobiusStrip() ? "one-sided piece" : "inconsistent winding";
  if (tests_.selfIntersections && !passes(found.checkNonIntersecting()))
    return counted(static_cast<int>(found.getIntersectingTriangles().numSetBits), "crossing triangle",
                   "crossing triangles");
  if (tests_.angles && !passes(found.checkGoodAngles(*tests_.angles)))
    return counted(found.getNumFoldedTriangles() / 2, "folded edge", "folded edges");
  return "";
}

bool Repair::step() {
  qvOS::StopWatch watch;
  watch.start();
  Step step{nextDefect(), {mesh_.getNumTriangles(), 0}, {mesh_.getNumVertices(), 0}, 0};
  console_.throwIfInterrupted();
  const Triangles before = trianglesOf(mesh_);
  if (!repair_->repairOnce()) return false;
  step.triangles[1] = mesh_.getNumTriangles();
  step.vertices[1] = mesh_.getNumVertices();
  if (step.vertices[1] > step.vertices[0]) keepChannels(mesh_, before);
  step.seconds = watch.stop();
  steps_.push_back(step);
  report(step);
  return true;
}

void Repair::report(const Step& step) {
  char counts[128];
  std::snprintf(counts, sizeof counts, ": triangles %d -> %d, vertices %d -> %d, %.3f s", step.triangles[0],
                step.triangles[1], step.vertices[0], step.vertices[1], step.seconds);
  console_.note("repaired " + step.defect + counts);
}

nlohmann::ordered_json asJson(const std::vector<Repair::Step>& steps) {
  auto list = nlohmann::ordered_json::array();
  for (const Repair::Step& step : steps)
    list.push_back({{"defect", step.defect},
                    {"trianglesBefore", step.triangles[0]},
                    {"trianglesAfter", step.triangles[1]},
                    {"verticesBefore", step.vertices[0]},
                    {"verticesAfter", step.vertices[1]},
                    {"seconds", step.seconds}});
  return list;
}

}  // namespace tool
