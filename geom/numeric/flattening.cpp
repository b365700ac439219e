#include "geom/numeric/flattening.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>

#include "geom/cut/cut_surface.h"
#include "geom/model/keel/channels.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/format.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/keel/tolerances.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/remap.h"
#include "geom/numeric/conformal_system.h"
#include "geom/planar/polygon_triangulation.h"
#include "geom/topology/boundaries.h"
#include "geom/topology/mesh_cache.h"
#include "geom/topology/welding.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Point2;
using qvLinear::Vector;
using qvString::formatText;
using qvUtil::Progress;

namespace {

struct BoundaryEdge {
  int from;
  int to;
};
using Loop = qv::vector<BoundaryEdge>;  // the edges run round

// The vertices that stay where the plane has them; they settle position, turn and size of the layout.
struct ExtremePair {
  int vertex[2] = {-1, -1};
};

// Runs a phase of the work with a progress of its own.
template <typename Work>
void inPhase(Progress& progress, double share, char const* caption, const Work& work) {
  Progress phase;
  progress.subPhase(share, phase);
  if (caption) phase.setCaption(caption);
  work(phase);
  phase.set(1);
}

struct Extent {
  double size = 0;
  ExtremePair ends;
};

// Along the axis on which the loop is longest, x before y before z.
Extent extentOf(const Loop& boundary, const CompactMesh& mesh) {
  float least[3] = {}, greatest[3] = {};
  int leastAt[3] = {}, greatestAt[3] = {};
  bool first = true;
  for (const BoundaryEdge& edge : boundary) {
    float const* p = mesh.getVerticesRaw() + 3 * edge.from;
    for (int axis = 0; axis < 3; ++axis) {
      if (first || p[axis] < least[axis]) {
        least[axis] = p[axis];
        leastAt[axis] = edge.from;
      }
      if (first || p[axis] > greatest[axis]) {
        greatest[axis] = p[axis];
        greatestAt[axis] = edge.from;
      }
    }
    first = false;
  }
  double d[3];
  for (int axis = 0; axis < 3; ++axis)
    d[axis] = std::fabs(static_cast<double>(greatest[axis]) - static_cast<double>(least[axis]));
  const int axis = d[0] >= d[1] && d[0] >= d[2] ? 0 : d[1] >= d[2] ? 1 : 2;
  return {d[axis], {{leastAt[axis], greatestAt[axis]}}};
}

bool areFinite(const qv::vector<Point>& points) {
  return std::all_of(points.begin(), points.end(), [](const Point& p) {
    return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
  });
}

}  // namespace

class reparameterizeMesh::Impl {
 public:
  explicit Impl(CompactMesh& mesh) : mesh_(mesh), workMesh_(mesh), output_(qvOS::AppOutput::getInstance()) {}

  bool flatten(Progress& progress);

  bool compactEnabled = true;
  bool cutSurfaceEnabled = true;
  bool factorizationEnabled = false;

 private:
  using Boundaries = qv::vector<Loop>;

  // In the order in which `flatten` takes them.
  void takeMesh();
  void prepareMesh(Progress& progress, Remap& remap);
  int getMeshGenus(Boundaries& boundaries, Progress& progress);
  bool buildRecords(Progress& progress);
  bool makeDisk(Boundaries& boundaries, Progress& progress);
  int getExtremeVerts(const Boundaries& boundaries, ExtremePair& extreme) const;
  void rotateAndProject(const Loop& boundary, qv::vector<Point>& points, const ExtremePair& extreme);
  qv::vector<int> buildFreeToCompleteMapping(const ExtremePair& extreme) const;
  qv::vector<HoleTriangle> fillHoles(const Boundaries& boundaries, int outer, Progress& progress) const;
  void doCG(const qv::vector<Point>& points, const qv::vector<int>& freeIndices,
            const qv::vector<HoleTriangle>& holeTriangles, Progress& progress, qv::vector<Point2>& uvs);
  bool applyUvsToMesh(const qv::vector<Point2>& uvs, const Remap& remap);

  bool testDegenerate(int t, const MeshTriangle& triangle);
  qvLinear::AffineMatrix determineRotMatrix(const Loop& boundary, const ExtremePair& extreme);
  Point position(int v) const { return workMesh_.getVertices()[v].asPoint(); }
  bool refuseSolution();

  void info(const std::string& text) { output_.info(text.c_str()); }
  void error(const std::string& text) { output_.error(text.c_str()); }

  CompactMesh& mesh_;
  CompactMesh workMesh_;
  SimpleMeshCache cache_;
  bool used_ = false;  // workMesh_ is no longer what the mesh was
  qvOS::AppOutput& output_;
};

bool reparameterizeMesh::Impl::flatten(Progress& progress) {
  takeMesh();
  Remap remap;
  inPhase(progress, 0.025, "Copying Mesh", [&](Progress& phase) { prepareMesh(phase, remap); });
  if (progress.cancelled()) return false;

  Boundaries boundaries;
  int genus = -1;
  inPhase(progress, 0.1, "Finding Mesh Boundaries",
          [&](Progress&) { genus = getMeshGenus(boundaries, progress); });
  if (progress.cancelled()) return false;
  info(formatText("- - - MeshReparameterize: genus = %d\n", genus));
  if (genus < 0) return false;
  if ((genus > 0 || boundaries.empty()) && !makeDisk(boundaries, progress)) return false;
  if (progress.cancelled()) return false;

  ExtremePair extreme;
  int outer = -1;
  inPhase(progress, 0.025, "Getting Extreme Vertices",
          [&](Progress&) { outer = getExtremeVerts(boundaries, extreme); });
  if (outer < 0) {
    error("There must be a boundary for the disk, none found. No changes made.\n");
    info(formatText("- - - MeshReparameterize: outerBoundary = %d\n", outer));
    return false;
  }

  qv::vector<Point> points;
  inPhase(progress, 0.025, "Creating Plane",
          [&](Progress&) { rotateAndProject(boundaries[outer], points, extreme); });
  if (!areFinite(points)) return refuseSolution();
  if (progress.cancelled()) return false;

  qv::vector<int> freeIndices;
  inPhase(progress, 0.025, nullptr, [&](Progress&) { freeIndices = buildFreeToCompleteMapping(extreme); });
  qv::vector<HoleTriangle> holeTriangles;
  inPhase(progress, 0.025, "Filling Mesh Holes",
          [&](Progress& phase) { holeTriangles = fillHoles(boundaries, outer, phase); });
  qv::vector<Point2> uvs;
  inPhase(progress, 0.75, "Solving",
          [&](Progress& phase) { doCG(points, freeIndices, holeTriangles, phase, uvs); });
  if (progress.cancelled()) return false;

  if (remap.getDomainSize() != mesh_.getNumVertices()) {
    error("The mesh has another number of vertices than its copy. No changes made.\n");
    return false;
  }
  bool applied = false;
  inPhase(progress, 0.025, "Applying to Mesh", [&](Progress&) { applied = applyUvsToMesh(uvs, remap); });
  return applied || refuseSolution();
}

bool reparameterizeMesh::Impl::refuseSolution() {
  error("The mesh has no finite layout. No changes made.\n");
  return false;
}

// The first call works on the copy that was made with the object. What that leaves is welded and perhaps cut.
void reparameterizeMesh::Impl::takeMesh() {
  if (!std::exchange(used_, true)) return;
  cache_.clear();
  workMesh_ = mesh_;
}

void reparameterizeMesh::Impl::prepareMesh(Progress& progress, Remap& remap) {
  workMesh_.deleteUVs();
  workMesh_.deleteNormals();
  meshCompact(workMesh_, progress, remap);
  if (compactEnabled) return;
  const int compacted = cache_.getBoundaries(workMesh_)->size();
  const int original = cache_.getBoundaries(mesh_)->size();
  info(formatText("prepareMesh: numBoundaries o = %d, c = %d\n", original, compacted));
  if (original == compacted) return;
  info("prepareMesh: compacting changed topology, reverting\n");
  workMesh_ = mesh_;
  MeshModification notice(&workMesh_, MeshModification::TopologyModified, nullptr);
  workMesh_.modified(notice);
  remap.resize(mesh_.getNumVertices(), mesh_.getNumVertices());
  remap.setSequential();
}

bool reparameterizeMesh::Impl::testDegenerate(int t, const MeshTriangle& triangle) {
  const int a = triangle[0], b = triangle[1], c = triangle[2];
  if (a != b && b != c && c != a) return false;
  error(formatText("Found degenerate triangle %d (%d,%d,%d), mesh not changed. \n", t, a, b, c));
  return true;
}

// By the number of Euler and Poincare, with every boundary loop closed by a face. Vertices that nothing uses
// count, too. -1 when there is no answer.
int reparameterizeMesh::Impl::getMeshGenus(Boundaries& boundaries, Progress& progress) {
  const int numVertices = workMesh_.getNumVertices(), numTriangles = workMesh_.getNumTriangles();
  for (int t = 0; t < numTriangles; ++t)
    if (testDegenerate(t, workMesh_.getTriangles()[t])) {
      info("getMeshGenus: testDegenerate == true\n");
      return -1;
    }
  if (!buildRecords(progress)) return -1;
  const qv::Reference<MeshBoundaries> loops = cache_.getBoundaries(workMesh_);
  const int numBoundaries = loops->size();
  info(formatText("getMeshGenus: numBoundaries %d \n", numBoundaries));
  std::int64_t boundaryEdges = 0;
  for (int i = 0; i < numBoundaries; ++i) {
    if (loops->getLength(i) < 3) {
      info("getMeshGenus: boundary length < 3 \n");
      return -1;
    }
    boundaryEdges += loops->getLength(i);
  }
  info(formatText("getMeshGenus: numBoundaryEdges %d \n", static_cast<int>(boundaryEdges)));
  info(formatText("getMeshGenus: numVertices %d \n", numVertices));
  info(formatText("getMeshGenus: numTriangles %d \n", numTriangles));
  const int numEdges = static_cast<int>((boundaryEdges + 3 * std::int64_t{numTriangles}) / 2);
  info(formatText("getMeshGenus: numEdges %d \n", numEdges));
  const int chi = numBoundaries + numVertices + numTriangles - numEdges;
  info(formatText("getMeshGenus: chi = %d + %d + %d - %d = %d \n", numBoundaries, numVertices, numTriangles,
                  numEdges, chi));
  const int genus = (2 - chi) / 2;
  info(formatText("getMeshGenus: genus = ( 2 - %d ) / 2 = %d \n", chi, genus));
  if (genus < 0) {
    info(formatText("getMeshGenus: genus = %d \n", genus));
    return -1;
  }
  for (int i = 0; i < numBoundaries; ++i) {
    int const* loop = loops->getStart(i);
    const int length = loops->getLength(i);
    Loop& boundary = boundaries.emplace_back();
    for (int k = 0; k < length; ++k) boundary.push_back({loop[k], loop[(k + 1) % length]});
  }
  return genus;
}

// One after another, each in a time that a cancellation may wait. @return false when cancelled
bool reparameterizeMesh::Impl::buildRecords(Progress& progress) {
  cache_.getAdjTris(workMesh_);
  if (progress.cancelled()) return false;
  cache_.getAdjVertices(workMesh_);
  if (progress.cancelled()) return false;
  cache_.getBoundaries(workMesh_);
  return !progress.cancelled();
}

bool reparameterizeMesh::Impl::makeDisk(Boundaries& boundaries, Progress& progress) {
  if (!cutSurfaceEnabled) return false;
  bool cut = false;  // no share of the progress; it hears of a cancellation
  inPhase(progress, 0, nullptr, [&](Progress& phase) { cut = cutSurface::makeDisk(workMesh_, phase); });
  if (!cut) return false;
  boundaries.clear();
  return getMeshGenus(boundaries, progress) == 0;
}

// Chooses the outer boundary. @return -1 when none has an extent
int reparameterizeMesh::Impl::getExtremeVerts(const Boundaries& boundaries, ExtremePair& extreme) const {
  int outer = -1;
  double largest = 0;
  for (std::size_t i = 0; i < boundaries.size(); ++i) {
    const Extent extent = extentOf(boundaries[i], workMesh_);
    if (!(extent.size > largest)) continue;
    largest = extent.size;
    extreme = extent.ends;
    outer = static_cast<int>(i);
  }
  return outer;
}

// Turns the normal of the outer boundary upwards, so that the pinned pair comes to lie level.
qvLinear::AffineMatrix reparameterizeMesh::Impl::determineRotMatrix(const Loop& boundary,
                                                                    const ExtremePair& extreme) {
  Vector axis = position(extreme.vertex[0]) - position(extreme.vertex[1]);
  Vector normal;
  if (boundary.size() >= 3) {
    Point c = position(boundary.back().from);
    for (const BoundaryEdge& edge : boundary) {
      const Point a = position(edge.from), b = position(edge.to);
      normal += cross(b - a, a - c);
      c = a;
    }
  }
  if (!normal.normalize()) {
    info("Parameterization: failed to calculateD planeNormal.  Choosing Z-axis instead.\n");
    normal = Vector::z;
  } else if (isParallel(normal, axis, qvLinear::parallelTol)) {
    info(
        "Parameterization: calculated planeNormal is (anti-)parallel to the vector between the fixed "
        "vertices "
        "of the 3D-boundary.  Choosing a random orthogonal vector instead.\n");
    normal = axis.orthogonalVector();
  } else {
    info("Parameterization: calculated planeNormal is good.  Using orthogonal component.\n");
    axis.normalize();
    normal -= project(normal, axis);
    normal.normalize();
  }
  return qvLinear::AffineMatrix::rotate(normal, Vector::z);
}

// The solver's bounds are absolute: it works with the pinned pair about one unit apart and near the origin.
// The layout is moved and scaled in the end in any case. A power of two keeps the digits.
void reparameterizeMesh::Impl::rotateAndProject(const Loop& boundary, qv::vector<Point>& points,
                                                const ExtremePair& extreme) {
  const qvLinear::AffineMatrix matrix = determineRotMatrix(boundary, extreme);
  const Point origin = position(extreme.vertex[0]);
  const double span = distance(origin, position(extreme.vertex[1]));
  const double scale = std::isfinite(span) && span > 0 ? std::exp2(-std::ilogb(span)) : 1;
  points.reserve(workMesh_.getNumVertices());
  for (int v = 0; v < workMesh_.getNumVertices(); ++v) {
    const Vector offset = scale * matrix.apply(position(v) - origin);
    points.emplace_back(offset[0], offset[1], offset[2]);
  }
}

qv::vector<int> reparameterizeMesh::Impl::buildFreeToCompleteMapping(const ExtremePair& extreme) const {
  qv::vector<int> map(workMesh_.getNumVertices());
  int next = 0;
  for (int v = 0; v < workMesh_.getNumVertices(); ++v)
    map[v] = v == extreme.vertex[0] || v == extreme.vertex[1] ? -1 : next++;
  return map;
}

// Holes would act as free boundaries. A loop runs against the triangles that close it.
qv::vector<HoleTriangle> reparameterizeMesh::Impl::fillHoles(const Boundaries& boundaries, int outer,
                                                             Progress& progress) const {
  qv::vector<HoleTriangle> triangles;
  for (std::size_t i = 0; i < boundaries.size(); ++i) {
    if (static_cast<int>(i) == outer) continue;
    const Loop& boundary = boundaries[i];
    qv::vector<Point> polygon;
    for (const BoundaryEdge& edge : boundary) polygon.push_back(position(edge.from));
    qv::vector<int> corners;  // none when cancelled
    inPhase(progress, 0, nullptr,
            [&](Progress& phase) { triangulatePolygon(polygon, corners, nullptr, &phase); });
    for (std::size_t c = 0; c + 2 < corners.size(); c += 3)
      triangles.push_back(
          {{boundary[corners[c + 2]].from, boundary[corners[c + 1]].from, boundary[corners[c]].from}});
  }
  return triangles;
}

void reparameterizeMesh::Impl::doCG(const qv::vector<Point>& points, const qv::vector<int>& freeIndices,
                                    const qv::vector<HoleTriangle>& holeTriangles, Progress& progress,
                                    qv::vector<Point2>& uvs) {
  const qv::Reference<MeshAdjTris> adjTris = cache_.getAdjTris(workMesh_);
  ConformalSystem system(workMesh_, *adjTris, points, freeIndices, holeTriangles);
  inPhase(progress, 0.1, nullptr, [&](Progress& phase) { system.assemble(phase); });
  if (progress.cancelled()) return;
  inPhase(progress, 0.8, nullptr, [&](Progress& phase) { system.solve(factorizationEnabled, phase); });
  if (progress.cancelled()) return;
  inPhase(progress, 0.1, nullptr, [&](Progress& phase) { system.read(phase, uvs); });
}

// One scale for both directions: the longer side becomes 1.
bool reparameterizeMesh::Impl::applyUvsToMesh(const qv::vector<Point2>& uvs, const Remap& remap) {
  Point2 least = uvs.front(), greatest = uvs.front();
  for (const Point2& uv : uvs)
    for (int k = 0; k < 2; ++k) {
      if (!std::isfinite(uv[k])) return false;
      least[k] = std::min(least[k], uv[k]);
      greatest[k] = std::max(greatest[k], uv[k]);
    }
  const double scale = std::min(1 / (greatest[0] - least[0]), 1 / (greatest[1] - least[1]));
  if (!std::isfinite(scale)) return false;
  mesh_.allocUVArray();
  MeshUV* out = mesh_.getUVs();
  for (int v = 0; v < mesh_.getNumVertices(); ++v) {
    const Point2& uv = uvs[remap(v)];
    out[v].set((uv[0] - least[0]) * scale, (uv[1] - least[1]) * scale);
  }
  MeshModification notice(&mesh_, MeshModification::AttributesModified, nullptr);
  notice.uvsModified();
  mesh_.modified(notice);
  return true;
}

reparameterizeMesh::reparameterizeMesh(CompactMesh& mesh) : impl_(std::make_unique<Impl>(mesh)) {}
reparameterizeMesh::~reparameterizeMesh() = default;

void reparameterizeMesh::enableMeshCompact(bool enable) { impl_->compactEnabled = enable; }
void reparameterizeMesh::enableMeshCutSurface(bool enable) { impl_->cutSurfaceEnabled = enable; }
void reparameterizeMesh::enableFactorization(bool enable) { impl_->factorizationEnabled = enable; }

bool reparameterizeMesh::flatten() {
  Progress progress;
  return flatten(progress);
}

bool reparameterizeMesh::flatten(Progress& progress) { return impl_->flatten(progress); }

}  // namespace qvGeom
