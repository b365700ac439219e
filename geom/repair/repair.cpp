#include "geom/repair/repair.h"

#include <utility>

#include "geom/repair/orientation.h"
#include "geom/topology/deletion.h"
#include "geom/topology/selection.h"

namespace qvGeom {

using Test = MeshCharacteristics::Test;

MeshRepair::MeshRepair(CompactMesh& mesh) : mesh_(mesh), characteristics_(new MeshCharacteristics(mesh)) {}
MeshRepair::~MeshRepair() = default;

void MeshRepair::checkGoodAngles(bool check) {
  checkGoodAngles_ = check;
  if (!check) characteristics_->reset(Test::GoodAngles);
}

void MeshRepair::checkSelfIntersection(bool check) {
  checkSelfIntersection_ = check;
  if (!check) characteristics_->reset(Test::NonIntersecting);
}

void MeshRepair::setCharacteristics(qv::Reference<MeshCharacteristics> characteristics) {
  characteristics_ = std::move(characteristics);
}

bool MeshRepair::needsRepair() {
  return !passes(Test::GoodTriangles) || !passes(Test::Manifold) || !passes(Test::Oriented) ||
         (checkSelfIntersection_ && !passes(Test::NonIntersecting)) ||
         (checkGoodAngles_ && !characteristics_->checkGoodAngles(minGoodAngle_));
}

bool MeshRepair::canRepair() {
  if (passes(Test::GoodTriangles) && passes(Test::Manifold) && hasMobiusStrip())
    return isMobiusStripRemovable();
  return needsRepair();
}

bool MeshRepair::hasMobiusStrip() { return orientationTried_ && !passes(Test::Oriented); }

bool MeshRepair::isMobiusStripRemovable() const {
  return strip_.numSetBits >= 1 && strip_.numSetBits < mesh_.getNumTriangles();
}

void MeshRepair::selectTriangles(BitVector const& triangles) {
  mesh_.getSelectedVertices().resize(mesh_.getNumVertices());
  mesh_.getSelectedTriangles().resize(mesh_.getNumTriangles());
  mesh_.getSelectedTriangles() |= triangles;
  const auto adjTris = characteristics_->getCache().getAdjTris(mesh_);
  MeshSelect(mesh_, *adjTris).selectVerticesFromTriangles();
}

void MeshRepair::selectMobiusStrip() { selectTriangles(strip_); }

void MeshRepair::deleteTriangles(BitVector const& triangles) {
  selectTriangles(triangles);
  MeshDeleteSelected deleteSelected(mesh_);
  deleteSelected();
}

bool MeshRepair::repairManifold() {
  const int vertices = mesh_.getNumVertices();
  const int triangles = mesh_.getNumTriangles();
  const auto adjTris = characteristics_->getCache().getAdjTris(mesh_);
  meshMakeManifold(mesh_, *adjTris, *characteristics_->getManifoldResult());
  // A pass that could do nothing would be made again for ever.
  return mesh_.getNumVertices() != vertices || mesh_.getNumTriangles() != triangles;
}

bool MeshRepair::repairOrientation() {
  if (!orientationTried_) {
    orientationTried_ = true;
    // Held here: the notice of the first flip makes the cache forget it.
    const auto adjTris = characteristics_->getCache().getAdjTris(mesh_);
    MeshOrient orient(mesh_, *adjTris);
    orient.orient();
    if (!orient.isOriented()) {
      strip_ = orient.getAffectedTriangles();
      if (strip_.numSetBits == mesh_.getNumTriangles()) strip_.resize(0);
    }
    return true;
  }
  if (!isMobiusStripRemovable()) return false;
  deleteTriangles(strip_);
  strip_.resize(0);
  return true;
}

bool MeshRepair::repair() {
  bool done = false;
  if (!passes(Test::GoodTriangles)) {
    // The result serves TopoGoodTriangles too, and goes when that one is reset.
    if (!characteristics_->getDuplicateTrisResult()) {
      characteristics_->reset(Test::GoodTriangles);
      characteristics_->check(Test::GoodTriangles);
    }
    const auto adjTris = characteristics_->getCache().getAdjTris(mesh_);
    meshRemoveDuplicateTris(mesh_, *adjTris, *characteristics_->getDuplicateTrisResult());
    done = true;
  } else if (!passes(Test::Manifold)) {
    done = repairManifold();
  } else if (!passes(Test::Oriented)) {
    done = repairOrientation();
  } else if (checkSelfIntersection_ && !passes(Test::NonIntersecting)) {
    deleteTriangles(characteristics_->getIntersectingTriangles());
    done = true;
  } else if (checkGoodAngles_ && !characteristics_->checkGoodAngles(minGoodAngle_)) {
    const auto adjTris = characteristics_->getCache().getAdjTris(mesh_);
    qv::vector<int> folded;
    characteristics_->getGoodAnglesResult()->getAdjacentTriangles(mesh_, *adjTris, folded);
    MeshDeleteSelected deleteSelected(mesh_);
    deleteSelected(*adjTris, folded);
    done = true;
  }
  if (done) characteristics_->reset(MeshCharacteristics::AllTests);
  return done;
}

bool MeshRepair::repairOnce() { return canRepair() && repair(); }

bool MeshRepair::repairAll(bool* clean) {
  bool any = false;
  while (canRepair() && repair()) any = true;
  if (clean) *clean = !needsRepair();
  return any;
}

}  // namespace qvGeom
