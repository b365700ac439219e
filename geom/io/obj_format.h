#pragma once

#include <string_view>

#include "geom/io/text_sink.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/files.h"
#include "geom/model/keel/progress.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

// A subset of the OBJ format: positions, normals, texture coordinates and polygons.
//
// Statements are known by "v ", "vn ", "vt " and "f " at the start of a line, after white space; everything
// else is skipped, also keywords followed by a tab. Numbers that cannot be read are 0, those too
// large the largest float, and those after them in the line 0. A polygon becomes a fan of triangles from its
// first corner; triangles with a position that does not exist are dropped, wherever in the file the positions
// stand. Relative (negative) indices and lines continued by a backslash are not known.
//
// Positions are never split: one mesh vertex per "v " line, also of those that no face uses. Where the file
// has normals or texture coordinates, a vertex gets the mean of those that the triangles around it give it,
// weighted by area; normals are normalised, and (0, 0, 1) where there is nothing to normalise.
//
// Numbers are read and written alike under every locale. None of these functions sends a change notice.

/// Replaces the mesh by the contents of a file, read as above.
/// @return false, with the mesh unchanged, when the file cannot be opened or read; true otherwise, whatever
/// the file holds
QVGEOM_API bool meshReadObj(CompactMesh& mesh, qvOS::Filename const& file);

/// The same for text in memory.
/// @param progress null, or told the fraction of the text that was read
/// @return false, with the mesh unchanged, only when cancelled
/// O(text + triangles), at several hundred megabytes a second.
QVGEOM_API bool meshParseObj(CompactMesh& mesh, std::string_view text, qvUtil::Progress* progress = nullptr);

/// Writes the mesh: all positions, normals if it has some, texture coordinates likewise, then the triangles,
/// whose corners use one number for all three. Six significant digits. Errors while writing are not reported.
/// @return false when the file cannot be opened for writing
QVGEOM_API bool meshWriteObj(CompactMesh const& mesh, qvOS::Filename const& file);

/// The same into a sink, in pieces of about 256 KB.
/// @return whether the sink took everything; false also when cancelled
QVGEOM_API bool meshFormatObj(CompactMesh const& mesh, TextSink const& sink,
                              qvUtil::Progress* progress = nullptr);

}  // namespace qvGeom
