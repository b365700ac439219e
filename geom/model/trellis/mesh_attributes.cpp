#include "geom/model/trellis/mesh_attributes.h"

#include <algorithm>
#include <limits>
#include <new>

namespace qvGeom {

MeshAttributes::MeshAttributes(const qvString::CString& name, int components, int elements)
    : name_(name), components_(std::clamp(components, 1, 4)) {
  resize(elements);
}

void MeshAttributes::resize(int elements) {
  reserve(elements);
  values_.resize(std::max(elements, 0) * components_);
}

void MeshAttributes::reserve(int elements) {
  if (elements > std::numeric_limits<int>::max() / components_) throw std::bad_alloc();
  values_.reserve(std::max(elements, 0) * components_);
}

}  // namespace qvGeom
