#pragma once

#include <string_view>

#include "geom/io/text_sink.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/files.h"
#include "geom/model/keel/progress.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

// The counted text format: the numbers of vertices and faces, then x, y, z of every vertex, then for every
// face its number of corners and its 0-based vertex indices, all separated by white space. Positions and
// faces alone are stored; coordinates have ten significant digits.
//
// A file is refused as a whole, and changes nothing, when it is not of this form: counts that are negative or
// larger than the text could hold, text that ends early, an index that names no vertex, or (in a half-edge
// mesh) a face with fewer than three corners. What follows the last face is ignored. Numbers are read and
// written alike under every locale; coordinates may be infinite or no numbers. None of these functions sends
// a change notice.

/// Replaces the mesh by the contents of a file. Every face counts as a triangle, whatever its number of
/// corners says. The mesh stays as it is when the file cannot be opened or is refused.
QVGEOM_API void meshRead(CompactMesh& mesh, qvOS::Filename const& file);
/// Adds the vertices and faces of a file to the mesh, indices counting from the file's first vertex, and then
/// pairs all open half-edges (meshTwin). The mesh stays as it is when the file cannot be opened or is
/// refused; running out of memory (std::bad_alloc) may leave part of the file in it.
QVGEOM_API void meshRead(TopoMesh& mesh, qvOS::Filename const& file);

/// The same for text in memory. @param progress null, or told the fraction of the text that was read
/// @return false, with the mesh unchanged, when the text is refused or the work cancelled
QVGEOM_API bool meshParse(CompactMesh& mesh, std::string_view text, qvUtil::Progress* progress = nullptr);
QVGEOM_API bool meshParse(TopoMesh& mesh, std::string_view text, qvUtil::Progress* progress = nullptr);

/// Writes the mesh, vertices and faces in the order of the mesh. Nothing happens when the file cannot be
/// opened; errors while writing are not reported.
QVGEOM_API void meshWrite(CompactMesh const& mesh, qvOS::Filename const& file);
QVGEOM_API void meshWrite(TopoMesh& mesh, qvOS::Filename const& file);

/// The same into a sink, in pieces of about 256 KB. @return whether the sink took everything; false also when
/// cancelled
QVGEOM_API bool meshFormat(CompactMesh const& mesh, TextSink const& sink,
                           qvUtil::Progress* progress = nullptr);
QVGEOM_API bool meshFormat(TopoMesh const& mesh, TextSink const& sink, qvUtil::Progress* progress = nullptr);

}  // namespace qvGeom
