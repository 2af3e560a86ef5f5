// File formats: readers and writers of mesh files.
#ifndef QZ4_TESSELLIX_FORMATS_H
#define QZ4_TESSELLIX_FORMATS_H

#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {

// ---------------------------------------------------------------------------
// STL: triangulated surfaces, text or binary as the caller says (a file is
// never inspected to tell). A file stores each triangle with three vertices
// of its own; the reader welds them back into shared nodes.
// ---------------------------------------------------------------------------

/// Writes the triangles of a surface, each with its unit normal (0 0 0 for a
/// degenerate triangle) and its three vertices. Text: "solid QZ4", one facet
/// per triangle with numbers as "%le", "endsolid QZ4". Binary: an 80-byte
/// header, a 32-bit count, one 50-byte record per triangle in floats.
/// Coordinates of 2 rows are written with z = 0.
///
/// In: `filename`, `pos` (2 or 3 rows), `triangles` (ET_TRIA3), `text`.
/// Status, in this order: -1 when the file cannot be opened (it is opened
/// first, so later failures leave it created or emptied); -2 when pos has
/// neither 2 nor 3 rows; -3 when check_IDs as ET_TRIA3 against pos.cols()
/// fails (an empty connectivity passes); -1 when writing failed; 0.
QZ4_API int STL_output(const char* filename, const dense2D<double>& pos,
                       const dense2D<unsigned>& triangles, bool text);

/// Reads the first solid of an STL file: three fresh nodes per triangle,
/// then, when some triangle is not degenerate, a weld: merge within 5% of
/// the smallest height of a sound triangle, removal of the triangles that
/// collapsed, and removal of the nodes that no triangle uses. The text reader
/// takes any first line, any white space for the indentation and any text on
/// the lines it does not read ("outer loop", "endloop", "endfacet"); it
/// stops at the first facet that does not match, which passes "endsolid". A
/// file that stops midway is read up to its last whole triangle.
///
/// In: `filename`, `text`. Out: `pos` (3 rows), `triangles` (ET_TRIA3), both
/// emptied first. Result: the triangle count; -1 when the file cannot be
/// opened, a text file has no first line, or a binary file is shorter than
/// its 84-byte header and count; the negative status of merge or simplify;
/// -199 when memory ran out (outputs empty).
QZ4_API int STL_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& triangles,
                      bool text);

// ---------------------------------------------------------------------------
// Wavefront OBJ: surfaces of triangles and quadrangles, node-indexed, with
// optional per-node normals and texture coordinates. Only "v", "vn", "vt"
// and "f" are read or written.
// ---------------------------------------------------------------------------

/// Writes " v " lines for the nodes (2-row coordinates get z = 0), then
/// " vt " and " vn " lines when those lists are given, then " f " lines for
/// the triangles and quadrangles; every number as "%.8e" followed by a blank.
/// A corner is the node's number from 1, "/", the same number when there
/// are texture coordinates, "/", the same when there are normals, and the
/// corners of a face run together with one blank after the last: a form
/// this library's reader does not take back.
///
/// In: `filename`, `pos` (2 or 3 rows), `normals` (empty, or 3 x nodes),
/// `textures` (empty, or 2 x nodes), `triangles`, `quadrangles`.
/// Status, in this order: -1 when the file cannot be opened (it is opened
/// first, so later failures leave it created or emptied); -2 when pos has
/// neither 2 nor 3 rows; -3 when the normals are not empty and not 3 x nodes;
/// -4 when the texture coordinates are not empty and not 2 x nodes; -5 and
/// -6 when check_IDs with NO_ID as node count refuses the triangles or the
/// quadrangles (node numbers are not checked against the nodes); 0. Write
/// errors are not reported.
QZ4_API int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                                const dense2D<double>& normals, const dense2D<double>& textures,
                                const dense2D<unsigned>& triangles,
                                const dense2D<unsigned>& quadrangles);

/// Reads the "v" (at least 3 numbers, the first 3 kept), "vn" (exactly 3),
/// "vt" (up to 3, the first "vt" deciding the row count; a line of another
/// count is skipped) and "f" statements of an OBJ file, in file order; other
/// lines are passed over. A face corner is "p", "p/t", "p/t/n" or "p//n";
/// a face of 3 corners is a triangle, of 4 a quadrangle, any other is
/// dropped. Face numbers count from 1; 0 stands for one past the nodes read
/// so far, and negative (relative) numbers are not understood: they come out
/// as huge indices. A face on a last line without its newline is dropped.
///
/// In: `filename`. Out: `pos` (3 rows), `normals` (3 rows), `textures`,
/// `triangles`, `quadrangles`, all emptied first; after a failure they keep
/// what was read before it. Status: 0; -1 when the file cannot be opened, a
/// keyword stands alone, a "v" has fewer than 3 numbers, a "vn" not 3, a
/// "vt" more than 3, a corner has a bad character after a number, or a face
/// uses texture or normal numbers before any "vt" or "vn" line; -199 when
/// memory ran out.
QZ4_API int WavefrontOBJ_input(const char* filename, dense2D<double>& pos, dense2D<double>& normals,
                               dense2D<double>& textures, dense2D<unsigned>& triangles,
                               dense2D<unsigned>& quadrangles);

}  // namespace tessellix
}  // namespace qz4

#endif
