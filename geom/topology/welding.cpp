#include "geom/topology/welding.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <numeric>
#include <optional>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/smp_sort.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/keel/threading.h"
#include "geom/topology/lexicographic_sort.h"

namespace qvGeom {

namespace {

template <int N>
int compare(float const* records, int i, int j) {
  float const* a = records + std::ptrdiff_t{N} * i;
  float const* b = records + std::ptrdiff_t{N} * j;
  for (int c = 0; c < N; ++c) {
    if (a[c] < b[c]) return -1;
    if (a[c] > b[c]) return 1;
  }
  return 0;
}

}  // namespace

int VertexCompare::operator()(int i, int j) const { return compare<3>(vertices, i, j); }

int VertexNormalCompare::operator()(int i, int j) const {
  const int byPosition = compare<3>(vertices, i, j);
  return byPosition != 0 ? byPosition : compare<3>(normals, i, j);
}

int VertexNormalUVCompare::operator()(int i, int j) const {
  const int byNormal = VertexNormalCompare{vertices, normals}(i, j);
  return byNormal != 0 ? byNormal : compare<2>(uvs, i, j);
}

namespace {

bool holdsNaN(float const* values, std::ptrdiff_t n) {
  int found = 0;
  // Without a way out of the loop, for the sake of vector instructions.
  for (std::ptrdiff_t i = 0; i < n; ++i) found |= values[i] != values[i] ? 1 : 0;
  return found != 0;
}

class WeldAlg {
 public:
  WeldAlg(CompactMesh& mesh, qvUtil::Progress& progress, Remap& remap)
      : mesh_(mesh),
        progress_(progress),
        remap_(remap),
        n_(mesh.getNumVertices()),
        vertices_(mesh.getVerticesRaw()),
        normals_(mesh.getNormalsComputed() ? nullptr : mesh.getNormalsRaw()),
        uvs_(normals_ ? mesh.getUVsRaw() : nullptr) {}

  void run();

 private:
  void sort();
  void sortByComparing();
  int numberVertices();
  int numberSorted();
  bool equal(int i, int j) const;
  void merge(int count);
  void mapIndices(MeshModification& notice);
  template <typename Record>
  void permute(Record* records, Array<Record>& moved) const;
  void printSeconds(char const* stage);

  CompactMesh& mesh_;
  qvUtil::Progress& progress_;
  Remap& remap_;
  int n_;
  // What takes part; null where it does not.
  float const* vertices_;
  float const* normals_;
  float const* uvs_;
  qv::vector<FloatColumn> columns_;
  // One of the two: the order found by counting or, because of a NaN, the one found by comparing.
  std::optional<LexicographicSort> order_;
  std::unique_ptr<int[]> sorted_;
  qvOS::StopWatch watch_;
};

void WeldAlg::run() {
  debugChannel().print("meshCompact: %d vertices, %d triangles\n", n_, mesh_.getNumTriangles());
  watch_.start();
  remap_.resize(n_, n_);
  sort();
  printSeconds("sorted vertices");
  int count = n_;
  if (!progress_.cancelled()) {
    count = numberVertices();
    printSeconds("initialized remap");
  }
  if (count == n_ || progress_.cancelled()) {
    remap_.setSequential();
  } else {
    merge(count);
  }
}

void WeldAlg::sort() {
  qvUtil::Progress phase;
  progress_.subPhase(0.8, phase);
  if (n_ == 0) return;
  for (int c = 0; c < 3; ++c) columns_.push_back({vertices_ + c, 3});
  for (int c = 0; normals_ && c < 3; ++c) columns_.push_back({normals_ + c, 3});
  for (int c = 0; uvs_ && c < 2; ++c) columns_.push_back({uvs_ + c, 2});
  const std::ptrdiff_t n = n_;
  if (holdsNaN(vertices_, 3 * n) || (normals_ && holdsNaN(normals_, 3 * n)) ||
      (uvs_ && holdsNaN(uvs_, 2 * n))) {
    sortByComparing();
  } else {
    order_.emplace(columns_, n_, qvUtil::ThreadPool::get());
  }
  phase.set(1);
}

void WeldAlg::sortByComparing() {
  sorted_ = std::make_unique_for_overwrite<int[]>(static_cast<std::size_t>(n_));
  int* sorted = sorted_.get();
  std::iota(sorted, sorted + n_, 0);
  qvUtil::ThreadPool& pool = qvUtil::ThreadPool::get();
  if (uvs_) {
    qvUtil::smpSort(sorted, n_, VertexNormalUVCompare{vertices_, normals_, uvs_}, pool);
  } else if (normals_) {
    qvUtil::smpSort(sorted, n_, VertexNormalCompare{vertices_, normals_}, pool);
  } else {
    qvUtil::smpSort(sorted, n_, VertexCompare{vertices_}, pool);
  }
}

// Fills the map; returns the number of different vertices.
int WeldAlg::numberVertices() {
  qvUtil::Progress phase;
  progress_.subPhase(0.2, phase);
  const int count = order_ ? order_->numberGroups(remap_) : numberSorted();
  order_.reset();
  sorted_.reset();
  phase.set(1);
  return count;
}

int WeldAlg::numberSorted() {
  int count = 0;
  for (int i = 0, first = 0; i < n_; ++i) {
    if (i == 0 || !equal(sorted_[i], first)) {
      first = sorted_[i];
      ++count;
    }
    remap_.set(sorted_[i], count - 1);
  }
  return count;
}

bool WeldAlg::equal(int i, int j) const {
  return std::all_of(columns_.begin(), columns_.end(),
                     [&](const FloatColumn& column) { return column[i] == column[j]; });
}

void WeldAlg::merge(int count) {
  // All the memory first: from here on nothing can fail.
  Array<MeshVertex> vertices(count);
  Array<MeshNormal> normals(normals_ ? count : 0);
  Array<MeshUV> uvs(mesh_.getUVs() ? count : 0);
  remap_.resize(n_, count);
  MeshRemap remap(&remap_, nullptr);
  MeshModification notice(&mesh_, MeshModification::TopologyModified, &remap);
  permute(mesh_.getVertices(), vertices);
  printSeconds("remapped vertices");
  if (normals_) {
    permute(mesh_.getNormals(), normals);
    notice.normalsModified();
    printSeconds("remapped normals");
  }
  if (mesh_.getUVs()) {
    permute(mesh_.getUVs(), uvs);
    notice.uvsModified();
  }
  mesh_.resizeVertexArray(count);
  mapIndices(notice);
  notice.triangleNormalsValid();  // no triangle moved
  mesh_.modified(notice);
  printSeconds("remapped triangles");
}

// In increasing old index, so that the last of a group wins.
template <typename Record>
void WeldAlg::permute(Record* records, Array<Record>& moved) const {
  for (int i = 0; i < n_; ++i) moved[remap_(i)] = records[i];
  std::copy(moved.begin(), moved.end(), records);
}

void WeldAlg::mapIndices(MeshModification& notice) {
  if (mesh_.getNumTriStrips() > 0) {
    remap_(mesh_.getTriStripPoints(), mesh_.getNumTriStripPoints());
    notice.stripsAndFansModified();
  }
  if (mesh_.getNumTriFans() > 0) {
    remap_(mesh_.getTriFanPoints(), mesh_.getNumTriFanPoints());
    notice.stripsAndFansModified();
  }
  if (mesh_.getNumLines() > 0) {
    for (int i = 0; i < mesh_.getNumLines(); ++i) remap_(mesh_.getLines()[i].v, 2);
    notice.linesModified();
  }
  if (mesh_.getNumLineStrips() > 0) {
    remap_(mesh_.getLineStripPoints(), mesh_.getNumLineStripPoints());
    notice.lineStripsModified();
  }
  MeshTriangle* triangles = mesh_.getTriangles();
  for (int t = 0; t < mesh_.getNumTriangles(); ++t)
    for (int& v : triangles[t].v) v = remap_(v);
}

void WeldAlg::printSeconds(char const* stage) {
  debugChannel().print("  %s: %f s\n", stage, watch_.clear());
  watch_.start();
}

}  // namespace

void meshCompact(CompactMesh& mesh, qvUtil::Progress& progress, Remap& remap) {
  WeldAlg(mesh, progress, remap).run();
}

void meshCompact(CompactMesh& mesh, qvUtil::Progress& progress) {
  Remap remap;
  meshCompact(mesh, progress, remap);
}

}  // namespace qvGeom
