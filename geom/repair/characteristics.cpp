#include "geom/repair/characteristics.h"

#include <deque>

#include "geom/model/keel/progress.h"
#include "geom/repair/orientation.h"
#include "geom/spatial/mesh_intersect.h"

namespace qvGeom {

MeshCharacteristics::MeshCharacteristics(CompactMesh const& mesh)
    : mesh_(&mesh), ownedCache_(std::make_unique<SimpleMeshCache>()) {
  cache_ = ownedCache_.get();
}

MeshCharacteristics::~MeshCharacteristics() { reset(AllTests); }

void MeshCharacteristics::setCache(MeshCache& cache) {
  cache_ = &cache;
  ownedCache_.reset();
}

int MeshCharacteristics::check(int tests) {
  const auto isDue = [&](int test) { return (tests & test & ~testsPerformed_) != 0; };
  if (isDue(Manifold)) testManifold();
  if (isDue(Oriented)) testOriented();
  if (isDue(GoodTriangles)) testTriangles();
  if (isDue(TopoGoodTriangles)) testTriangles();
  if (isDue(NonIntersecting)) perform(NonIntersecting, computeIntersection());
  if ((tests & GoodAngles) != 0) testAngles();
  return testsPassed_ & tests;
}

bool MeshCharacteristics::checkGoodAngles(double degrees) {
  minGoodAngle_ = degrees;
  return check(GoodAngles) != 0;
}

void MeshCharacteristics::perform(int test, bool passes) {
  testsPerformed_ |= test;
  testsPassed_ = passes ? testsPassed_ | test : testsPassed_ & ~test;
}

void MeshCharacteristics::testManifold() {
  manifold_ = std::make_unique<MeshManifoldResult>();
  const auto adjTris = cache_->getAdjTris(*mesh_);
  meshManifold(*mesh_, *adjTris, *manifold_);
  perform(Manifold, manifold_->badVertices.numSetBits == 0 && manifold_->badEdges.empty());
}

void MeshCharacteristics::testOriented() {
  const auto adjTris = cache_->getAdjTris(*mesh_);
  perform(Oriented, meshOriented(*mesh_, *adjTris));
}

// One run serves both tests.
void MeshCharacteristics::testTriangles() {
  duplicates_ = std::make_unique<MeshDuplicateTrisResult>();
  const bool found = meshDuplicateTris(*mesh_, *duplicates_);
  numBadTriangles_ = found ? -1 : 0;
  perform(GoodTriangles, !found);
  perform(TopoGoodTriangles, duplicates_->duplicates.empty() && duplicates_->repeatedIndices.empty());
}

bool MeshCharacteristics::computeIntersection() {
  const auto octree = cache_->getOctree(*mesh_, -1);
  const auto octreeTris = cache_->getOctreeTris(*mesh_);
  qvUtil::Progress progress;
  std::deque<MeshIntersectPair> pairs;
  MeshIntersect(*mesh_, *octree, *octreeTris).selfIntersect(progress, pairs);
  if (pairs.empty()) return true;
  intersecting_.resize(mesh_->getNumTriangles());
  for (const MeshIntersectPair& pair : pairs) intersecting_.setBit(pair.first.triangle);
  return false;
}

void MeshCharacteristics::testAngles() {
  if ((testsPerformed_ & GoodAngles) != 0 && angleTested_ == minGoodAngle_) return;
  angles_ = std::make_unique<MeshDihedralAnglesResult>();
  const auto adjTris = cache_->getAdjTris(*mesh_);
  meshFindAnglesLessThan(*mesh_, *adjTris, minGoodAngle_, *angles_);
  perform(GoodAngles, angles_->foldedEdges.empty());
  angleTested_ = minGoodAngle_;
}

void MeshCharacteristics::reset(int tests) {
  if ((tests & (GoodTriangles | TopoGoodTriangles)) != 0) {
    duplicates_.reset();
    numBadTriangles_ = -1;
  }
  if ((tests & Manifold) != 0) manifold_.reset();
  if ((tests & NonIntersecting) != 0) intersecting_.resize(0);
  if ((tests & GoodAngles) != 0) angles_.reset();
  testsPerformed_ &= ~tests;
  testsPassed_ &= ~tests;
}

int MeshCharacteristics::getNumNonManifoldVertices() const {
  return manifold_ ? static_cast<int>(manifold_->badVertices.numSetBits) : 0;
}

int MeshCharacteristics::getNumNonManifoldEdges() const {
  return manifold_ ? static_cast<int>(manifold_->badEdges.size()) : 0;
}

int MeshCharacteristics::getNumBadTriangles() {
  if (!duplicates_) return 0;
  if (numBadTriangles_ < 0) {
    qv::vector<int> bad;
    duplicates_->getBadTriangles(*mesh_, bad);
    numBadTriangles_ = static_cast<int>(bad.size());
  }
  return numBadTriangles_;
}

int MeshCharacteristics::getNumFoldedTriangles() const {
  return angles_ ? 2 * static_cast<int>(angles_->foldedEdges.size()) : 0;
}

}  // namespace qvGeom
