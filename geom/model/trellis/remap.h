#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/array.h"
#include "geom/model/trellis/bit_vector.h"

namespace qvGeom {

/// Map from old indices [0, domain) to new ones [0, range); an index without image maps to -1.
class QVGEOM_API Remap : public qv::ReferenceCount {
 public:
  Remap() = default;
  /// Nothing has an image yet.
  Remap(int domain, int range) { resize(domain, range); }
  ~Remap() override;

  /// Sets both sizes. Leading entries are kept, new ones are -1.
  void resize(int domain, int range);
  /// Ignored when `from` lies outside the domain. A negative `to` takes the image away.
  void set(int from, int to);
  /// The identity over the whole domain; the range becomes as large.
  void setSequential();
  /// Makes the set bits map to -1 and numbers the clear ones consecutively in their old order. Domain: the
  /// vector's size; range: the number of kept indices.
  void setDeleteMap(const BitVector& deleted);

  /// The new index, -1 if there is none or `i` lies outside the domain.
  int operator()(int i) const { return i >= 0 && i < map_.size() ? map_[i] : -1; }
  /// Maps n indices in place.
  void operator()(int* indices, int n) const;

  int getDomainSize() const { return map_.size(); }
  int getRangeSize() const { return range_; }

 private:
  Array<int> map_;
  int range_ = 0;
};

/// The maps of one renumbering, borrowed; null where the elements kept their numbers.
struct MeshRemap {
  MeshRemap(Remap* vertexMap, Remap* triangleMap) : vertices(vertexMap), triangles(triangleMap) {}
  Remap* vertices;
  Remap* triangles;
};

}  // namespace qvGeom
