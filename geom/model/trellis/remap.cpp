#include "geom/model/trellis/remap.h"

#include <algorithm>

namespace qvGeom {

Remap::~Remap() = default;

void Remap::resize(int domain, int range) {
  const int old = map_.size();
  map_.resizeForOverwrite(domain);
  if (map_.size() > old) std::fill(map_.begin() + old, map_.end(), -1);
  range_ = std::max(range, 0);
}

void Remap::set(int from, int to) {
  if (from >= 0 && from < map_.size()) map_[from] = std::max(to, -1);
}

void Remap::setSequential() {
  for (int i = 0; i < map_.size(); ++i) map_[i] = i;
  range_ = map_.size();
}

void Remap::setDeleteMap(const BitVector& deleted) {
  map_.resizeForOverwrite(static_cast<int>(deleted.size()));
  range_ = 0;
  for (int i = 0; i < map_.size(); ++i) map_[i] = deleted.test(i) ? -1 : range_++;
}

void Remap::operator()(int* indices, int n) const {
  for (int i = 0; i < n; ++i) indices[i] = (*this)(indices[i]);
}

}  // namespace qvGeom
