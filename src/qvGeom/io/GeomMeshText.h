/// \file
/// Meshes as plain text: counts, coordinates and the corners of the faces.
///
/// The first line holds the number of vertices and of faces. Each vertex has a line
/// with x, y and z, then each face one with its number of corners and the indices of
/// its vertices, from 0, in winding order. One blank parts the numbers of a line, and
/// a line feed ends every line. A right triangle:
///
///     3 1
///     0 0 0
///     1 0 0
///     0 1 0
///     3 0 1 2
///
/// Coordinates have ten significant digits, as "%.10g" prints them in the "C" locale,
/// whatever locale is set: enough for every float to come back as it was.
///
/// A file that cannot be opened is passed over without a word. Anything else that goes
/// wrong prints one line on `qvOS::AppOutput::error`.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Strings.h"

namespace qvGeom {

class CompactMesh;
class TopoMesh;

/// Writes vertices and triangles; other channels have no place in the format. When
/// writing fails, as on a full disk, what was written so far stays behind.
QVGEOM_API void meshWrite(const CompactMesh& mesh, const qvOS::Filename& file);

/// Writes the vertices and faces in the order of their lists. A corner whose vertex is
/// not in the list is written as 0. Changes nothing in `mesh`: handles walk a mesh that may be
/// edited.
QVGEOM_API void meshWrite(TopoMesh& mesh, const qvOS::Filename& file);

/// Replaces all of `mesh` by the file's vertices and triangles. Announces nothing.
///
/// Any white space may part the numbers, which are all that scanf accepts, hexadecimal
/// ones, infinities and NaN among them. The file is read whole before `mesh` is touched.
/// When it is no such text from beginning to end, has a face that is not a triangle or
/// an index without a vertex, `mesh` stays as it was and the error line names the file
/// and the line where reading stopped.
QVGEOM_API void meshRead(CompactMesh& mesh, const qvOS::Filename& file);

/// Adds the file's vertices and faces, of three or more corners, to what `mesh` holds,
/// then links edges by `meshTwin`. Files are checked as above.
QVGEOM_API void meshRead(TopoMesh& mesh, const qvOS::Filename& file);

} // namespace qvGeom
