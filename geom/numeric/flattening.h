#pragma once

#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/keel/progress.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

/// Flattens a mesh to the plane (contract to be written).
class QVGEOM_API reparameterizeMesh {
 public:
  explicit reparameterizeMesh(CompactMesh& mesh);
  ~reparameterizeMesh();
  reparameterizeMesh(const reparameterizeMesh&) = delete;
  reparameterizeMesh& operator=(const reparameterizeMesh&) = delete;

  void enableMeshCompact(bool enable);
  void enableMeshCutSurface(bool enable);

  bool flatten();
  bool flatten(qvUtil::Progress& progress);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qvGeom
