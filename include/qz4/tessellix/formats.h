// File formats: readers and writers of mesh files.
#ifndef QZ4_TESSELLIX_FORMATS_H
#define QZ4_TESSELLIX_FORMATS_H

#include <cstdio>

#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {

// ---------------------------------------------------------------------------
// Viewing files: MEDIT, legacy VTK, EnSight. Writers only; numbers are
// printed exactly as the C library's printf prints them.
// ---------------------------------------------------------------------------

/// Splits a list of connectivities into connectivities of one pure kind: a
/// pure one is taken as it stands (a shallow copy), a mixed one
/// (ET_FACE_MIXED, ET_SOLID_MIXED) is copied, sorted as sort_elfes sorts
/// (runs of equal node count, the longest first) and cut into its runs:
/// quadrangles and triangles, or hexahedra, wedges, pyramids and
/// tetrahedra; a run of any other node count is dropped. Connectivities
/// without entries are skipped. The reference of each output is the
/// position of its source in the list.
///
/// In: [first, last), `flags` (the kind of each). Out: `connectivities`,
/// `kinds`, `references`, cleared first and of equal length.
/// Status: 0; -1 when first > last or `flags` has not last - first entries;
/// -199 when memory ran out (outputs empty).
QZ4_API int split_connectivities(const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                                 const dense1D<int>& flags,
                                 dense1D<dense2D<unsigned>>& connectivities, dense1D<int>& kinds,
                                 dense1D<unsigned>& references);

/// Writes a MEDIT mesh file: the nodes (reference 0) and, for each kind in
/// the order of element_type values, one section of its elements with the
/// position of their connectivity in the list as reference. Corners only:
/// pyramids and wedges are written as collapsed hexahedra; mixed
/// connectivities are split first (see split_connectivities), so their
/// elements come sorted. Nothing is written when a check fails.
///
/// In: `filename`, `pos` (1 to 3 rows), [first, last), `flags`.
/// Status, in this order: -2 when pos has 0 or more than 3 rows; -4 when
/// first > last; -5 when `flags` has not last - first entries; -3 when
/// check_IDs against pos.cols() refuses a connectivity for its kind (a
/// non-empty ET_NONE or ET_EDGE_MIXED one included); -199 when memory ran
/// out; -1 when the file cannot be opened; 0.
QZ4_API int medit_output(const char* filename, const dense2D<double>& pos,
                         const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                         const dense1D<int>& flags);
/// One connectivity, reference 0. Statuses as the list form.
QZ4_API int medit_output(const char* filename, const dense2D<double>& pos,
                         const dense2D<unsigned>& connectivity, element_type type);
/// Two connectivities, references 0 and 1. Statuses as the list form.
QZ4_API int medit_output(const char* filename, const dense2D<double>& pos,
                         const dense2D<unsigned>& first, const dense2D<unsigned>& second,
                         element_type first_type, element_type second_type);
/// One connectivity whose elements carry a group id each, written as the
/// element's reference; elements of group NO_ID are left out.
/// Status: 0 for an empty connectivity (no file made); -5 when `groups` has
/// not one entry per column; -6 when the groups could not be allocated;
/// -199 when memory ran out; otherwise the status of the list form.
QZ4_API int medit_output(const char* filename, const dense2D<double>& pos,
                         const dense2D<unsigned>& connectivity, element_type type,
                         const dense1D<unsigned>& groups);

/// Writes a MEDIT solution file of one scalar per node, eight to a line.
/// In: `filename`, `dim` (the space dimension written in the header),
/// `values`. Status: 0; -1 when the file cannot be opened.
QZ4_API int medit_scalar(const char* filename, unsigned dim, const dense1D<double>& values);
/// A solution file of one vector per node, a column each. Status as
/// medit_scalar.
QZ4_API int medit_vector(const char* filename, unsigned dim, const dense2D<double>& vectors);
/// A solution file of one packed symmetric tensor per node: 3 rows (2D) or
/// 6 rows (3D). Status: -1 when the file cannot be opened; -2 when the rows
/// are neither 3 nor 6 (the file is opened first and left empty); 0.
QZ4_API int medit_tensor(const char* filename, const dense2D<double>& tensors);

/// Appends the VTK cells of a pure connectivity: per element a cell of its
/// corners (a tetrahedron's last two exchanged, as VTK orders them) and, when
/// the matrix has more rows than corners, a poly-vertex (type 2) of the
/// other nodes. Neither the lists nor `count` are cleared: the caller starts
/// the count at 0 and may convert several connectivities in a row.
///
/// In: `connectivity`, `type`. In/out: `count` (cells), `cells` (node count
/// then nodes, per cell), `types` (VTK cell type per cell).
/// Status, in this order: -1 when check_IDs with NO_ID as node count fails
/// (the layout of a mixed kind); -2 when the kind has no VTK cell (ET_NONE,
/// ET_NODE, the mixed kinds); 0 for a connectivity without columns; -1 when
/// it has fewer rows than corners; -199 when the lists could not grow
/// (`count` and the lists as they were); 0.
QZ4_API int vtk_convert(const dense2D<unsigned>& connectivity, element_type type, unsigned& count,
                        dense1D<unsigned>& cells, dense1D<unsigned>& types);

/// Prints a legacy VTK unstructured grid (ASCII, version 2.0) into a stream
/// the caller opened and closes: points as "%f" (2D points get z = 0), then
/// `count` cells from `cells`, then the types. The caller may append point
/// or cell data after it. Status: -1 for a null stream; -2 when pos has
/// neither 2 nor 3 rows; 0.
QZ4_API int vtk_output(std::FILE* stream, const dense2D<double>& pos, unsigned count,
                       const dense1D<unsigned>& cells, const dense1D<unsigned>& types);

/// Writes a legacy VTK file of a list of connectivities, mixed ones split
/// first (see split_connectivities). The file is opened first, so every
/// later failure leaves it created and empty.
/// Status, in this order: -1 when the file cannot be opened; -2 when pos has
/// neither 2 nor 3 rows; -4 when first > last; -5 when `flags` has not last
/// - first entries; -3 when check_IDs against pos.cols() refuses a
/// connectivity; -199 when memory ran out; a status of vtk_convert (a
/// non-empty ET_NODE connectivity gives -2); 0.
QZ4_API int vtk_output(const char* filename, const dense2D<double>& pos,
                       const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                       const dense1D<int>& flags);
/// One connectivity. Statuses as the list form.
QZ4_API int vtk_output(const char* filename, const dense2D<double>& pos,
                       const dense2D<unsigned>& connectivity, element_type type);
/// Two connectivities. Statuses as the list form.
QZ4_API int vtk_output(const char* filename, const dense2D<double>& pos,
                       const dense2D<unsigned>& first, const dense2D<unsigned>& second,
                       element_type first_type, element_type second_type);

/// Writes an EnSight geometry file (ASCII, node and element ids given): the
/// nodes with three coordinates each (missing rows as 0), then a part per
/// connectivity, numbered by its position in the list from 1. Pyramids,
/// points and mixed connectivities get no part, and no status says so;
/// quadratic kinds without an EnSight element fall back on a lower one
/// (quad8 for ET_QUAD9, penta6 for ET_PENTA18, hexa20 for ET_HEXA27). A part
/// of ET_TRIA6 lists its elements twice, first in EnSight's node order, then
/// in row order. Element ids restart at 1 in each part.
///
/// In: `filename`, `pos` (1 to 3 rows), [first, last), `flags`.
/// Status, in this order: -1 when the file cannot be opened (it is opened
/// first, so later failures leave it created and empty); -2 when pos has 0
/// or more than 3 rows; -4 when first > last; -5 when `flags` has not last -
/// first entries; -3 when check_IDs with NO_ID as node count refuses a
/// connectivity (only the layout of mixed kinds is checked); 0.
QZ4_API int ensight_output(const char* filename, const dense2D<double>& pos,
                           const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                           const dense1D<int>& flags);
/// One connectivity. Statuses as the list form.
QZ4_API int ensight_output(const char* filename, const dense2D<double>& pos,
                           const dense2D<unsigned>& connectivity, element_type type);
/// Two connectivities. Statuses as the list form.
QZ4_API int ensight_output(const char* filename, const dense2D<double>& pos,
                           const dense2D<unsigned>& first, const dense2D<unsigned>& second,
                           element_type first_type, element_type second_type);

// ---------------------------------------------------------------------------
// Reading viewing files: MEDIT meshes and solutions (text and binary) and
// legacy VTK (ASCII and binary). A reader never trusts a count or an index
// of the file: counts are checked against what the file can still hold, node
// numbers against the vertices, and every failure leaves the outputs empty.
// ---------------------------------------------------------------------------

/// Reads a MEDIT mesh, text (.mesh) or binary (.meshb, versions 1 to 4,
/// either byte order), told apart by the content, not the name: a binary
/// file starts with the 32-bit code 1. Sections read: "Vertices",
/// "Edges", "Triangles", "Quadrilaterals", "Tetrahedra", "Pyramids",
/// "Prisms", "Hexahedra" and the second-order "EdgesP2", "TrianglesP2",
/// "QuadrilateralsQ2", "TetrahedraP2", "PrismsP2" (18 nodes), "HexahedraQ2"
/// (27 nodes), each line ending in a reference; every other keyword is
/// skipped whole. Elements keep the file's node order; numbers from 1 in the
/// file are from 0 in the matrices.
///
/// In: `filename`. Out, all emptied first: `pos` (the file's dimension, 2 or
/// 3 rows), `node_references` (one per vertex), `connectivities` (one per
/// kind present, in the order of the kinds' first sections; sections of the
/// same kind are joined in file order), `kinds` (the element_type of each),
/// `references` (one list per connectivity, one entry per element).
/// Status: 0; -1 when the file cannot be opened; -2 when it is not a MEDIT
/// mesh (no "MeshVersionFormatted" or binary code, an unknown binary
/// version, a dimension other than 2 or 3, or an element section before
/// "Vertices"); -3 when it is cut short or corrupt (a count larger than the
/// rest of the file can hold, a number that does not read, no "End" in a
/// text file); -4 when an element names a node outside 1 to the vertex
/// count; -199 when memory ran out. Every output is empty after a failure.
QZ4_API int medit_input(const char* filename, dense2D<double>& pos, dense1D<int>& node_references,
                        dense1D<dense2D<unsigned>>& connectivities, dense1D<int>& kinds,
                        dense1D<dense1D<int>>& references);
/// The same without references. Statuses as above.
QZ4_API int medit_input(const char* filename, dense2D<double>& pos,
                        dense1D<dense2D<unsigned>>& connectivities, dense1D<int>& kinds);

/// Reads the fields of a MEDIT solution at vertices: the keyword form
/// ("SolAtVertices", text .sol or binary .solb) or the header form that
/// medit_scalar, medit_vector and medit_tensor write ("dim fields count
/// 2"). A field is a matrix of one column per vertex: 1 row for a scalar
/// (sizes), the dimension's rows for a vector, 3 (2D) or 6 (3D) rows for a
/// symmetric tensor, in the library's packed order (m11, m12, m22, m13, m23,
/// m33); the keyword form stores 3D tensors as (m11, m12, m13, m22, m23,
/// m33) and is converted.
///
/// In: `filename`. Out, emptied first: `fields`, `field_kinds` (1 scalar, 2
/// vector, 3 tensor, MEDIT's own codes). Result: the vertex count, which
/// the caller compares with its mesh; -1 when the file cannot be opened; -2
/// when it is no MEDIT solution (no "SolAtVertices" section, a dimension
/// other than 2 or 3, a field type other than 1, 2 or 3); -3 when it is cut
/// short or corrupt; -199 when memory ran out. Outputs empty after a failure.
QZ4_API int medit_solution_input(const char* filename, dense1D<dense2D<double>>& fields,
                                 dense1D<int>& field_kinds);

/// Reads a legacy VTK file (versions 2.0 to 5.1, ASCII or big-endian
/// BINARY): a "DATASET UNSTRUCTURED_GRID" (5.1's "OFFSETS" / "CONNECTIVITY"
/// cell layout included) or "POLYDATA" ("VERTICES", "LINES", "POLYGONS").
/// Cells become elements of the library's kinds: vertex, line, triangle,
/// polygon of 3 or 4 corners, quad, pixel, tetra (the last two corners
/// exchanged back, as vtk_output exchanges them), pyramid, wedge,
/// hexahedron, voxel, and the quadratic line, triangle, quad, biquadratic
/// quad, tetra, 18-node wedge, hexahedron and triquadratic hexahedron in the
/// file's node order. Any other cell (poly-vertex, poly-line, strip, polygon
/// of more than 4 corners, 15-node wedge, ...) is skipped and counted. Point
/// and cell data are not read.
///
/// In: `filename`. Out, emptied first: `pos` (3 rows), `connectivities` (one
/// per kind present, in the order of the kinds' first cells, elements in
/// file order), `kinds`, `skipped` (cells left out).
/// Status: 0; -1 when the file cannot be opened; -2 when it is not a legacy
/// VTK file of those datasets (a wrong first line, a format other than
/// ASCII or BINARY, another dataset); -3 when it is cut short or corrupt (a
/// count larger than the rest of the file, a number that does not read, a
/// cell that overruns its list); -4 when a cell names a point beyond the
/// points; -199 when memory ran out. Outputs empty after a failure.
QZ4_API int vtk_input(const char* filename, dense2D<double>& pos,
                      dense1D<dense2D<unsigned>>& connectivities, dense1D<int>& kinds,
                      unsigned& skipped);

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
/// `triangles`, `quadrangles`, all emptied first; after a failure other than
/// -199 they keep what was read before it, after -199 they are empty.
/// Status: 0; -1 when the file cannot be opened, a keyword stands alone, a
/// "v" has fewer than 3 numbers, a "vn" not 3, a "vt" more than 3, a corner
/// has a bad character after a number, or a face uses texture or normal
/// numbers before any "vt" or "vn" line; -199 when memory ran out.
QZ4_API int WavefrontOBJ_input(const char* filename, dense2D<double>& pos, dense2D<double>& normals,
                               dense2D<double>& textures, dense2D<unsigned>& triangles,
                               dense2D<unsigned>& quadrangles);

// ---------------------------------------------------------------------------
// Solver decks: NASTRAN bulk data and FEMAP neutral files. A mesh of mixed
// kinds is one connectivity padded with NO_ID (as many rows as its largest
// element) with a table of runs: run r holds the columns [starts[r],
// starts[r + 1]) of kind kinds[r]; `properties` has one number per column.
// Ids are column indices on both sides: the writers number nodes and
// elements from 0, the readers put node i in column i (ids that leave gaps
// give zero columns) and drop element ids. Node indices are not compared
// with the node count on reading.
//
// The writers open the file first; then, in this order: 0 for an empty
// connectivity (even when the open failed; nothing is written); -1 when the
// file cannot be opened; -2 when pos has not 3 rows; -5 when `starts` has
// not one entry more than `kinds`; -6 when `properties` has not one entry
// per column; -3 when a run fails check_IDs with NO_ID as node count (the
// layout of a mixed kind; a pure kind with fewer rows than its nodes); 0.
// A run of a mixed kind is written as the kind of its first column; runs
// of kinds the format does not carry are left out.
//
// The single output forms write runs {0, columns}, the kind, property 1;
// the two-connectivity forms join both matrices and write runs {0, first's
// columns, second's columns}, properties 1 and 2; so they succeed only with
// one element, or two in all (-6 otherwise), as these decks have always
// been written. The single input forms return the whole padded matrix and
// set `type` to ET_NONE after a successful read; the two-connectivity forms
// return views of the first two runs (the second with its kind's rows), a
// file of one run leaving the second output and its kind as they were.
// ---------------------------------------------------------------------------

/// Writes "BEGIN BULK", one free-field card per element ("CTRIA3,7,2,4,5,6,":
/// keyword, column, property, nodes), a constant MAT1 card, a large-field
/// GRID* card per node (x, y on the first line, z on the continuation, as
/// "%#g") and "ENDDATA". Wedges, 10-node tetrahedra and 20-node hexahedra
/// have no keyword (their lines start with a comma), the pyramids of an
/// ET_SOLID_MIXED run whose first column is a pyramid are written as
/// "CPENTA" of five zeros (a run of ET_PYRA5 is left out, like ET_EDGE3,
/// ET_QUAD9, ET_PYRA14, ET_PENTA18 and ET_HEXA27), and a tetrahedron's
/// fourth node is written as 0.
QZ4_API int NASTRAN_output(const char* filename, const dense2D<double>& pos,
                           const dense2D<unsigned>& conn, const dense1D<unsigned>& starts,
                           const dense1D<int>& kinds, const dense1D<unsigned>& properties);
QZ4_API int NASTRAN_output(const char* filename, const dense2D<double>& pos,
                           const dense2D<unsigned>& conn, element_type type);
QZ4_API int NASTRAN_output(const char* filename, const dense2D<double>& pos,
                           const dense2D<unsigned>& first, const dense2D<unsigned>& second,
                           element_type first_type, element_type second_type);

/// Reads the bulk section of a NASTRAN deck (from a line holding "BEGIN
/// BULK" to one holding "ENDDATA" or the end): GRID and GRID* cards, and the
/// element cards BAR, BEAM, ROD, TRIA3, TRIA6, QUAD4, QUAD8, TETRA, PENTA
/// (read as a pyramid whose column is all NO_ID) and HEXA, each with or
/// without a leading C, in small, large ("*", the next line going on) or
/// free (comma) field form. Lines are cut at blanks, then at commas; other
/// cards are passed over.
/// Status: 0; -1 when the file cannot be opened, has no "BEGIN BULK" line,
/// no node or no element, or a card has fewer fields than it needs; -199
/// when memory ran out (outputs empty). What was read before another
/// failure stays.
QZ4_API int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& conn,
                          dense1D<unsigned>& starts, dense1D<int>& kinds,
                          dense1D<unsigned>& properties);
QZ4_API int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& conn,
                          element_type& type);
QZ4_API int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& first,
                          dense2D<unsigned>& second, element_type& first_type,
                          element_type& second_type);

/// Writes FEMAP blocks 403 (a line per node, coordinates as "%g") and 404
/// (seven lines per element: id, property, topology code; the 20 node slots
/// on two lines; fixed fields). Kinds without a topology code (ET_QUAD9,
/// pyramids, ET_PENTA18, ET_HEXA27) are left out.
QZ4_API int FEMAP_output(const char* filename, const dense2D<double>& pos,
                         const dense2D<unsigned>& conn, const dense1D<unsigned>& starts,
                         const dense1D<int>& kinds, const dense1D<unsigned>& properties);
QZ4_API int FEMAP_output(const char* filename, const dense2D<double>& pos,
                         const dense2D<unsigned>& conn, element_type type);
QZ4_API int FEMAP_output(const char* filename, const dense2D<double>& pos,
                         const dense2D<unsigned>& first, const dense2D<unsigned>& second,
                         element_type first_type, element_type second_type);

/// Reads blocks 403 and 404 of a FEMAP neutral file, in any number and
/// order, passing over every other block. Each element record is seven
/// lines; an unknown topology code passes the record unread and puts a kind
/// 0 in the run table (which then no longer lines up with the columns).
/// Status: 0; -1 when the file cannot be opened, has no node or no element,
/// or a record has fewer fields than it needs; -199 when memory ran out
/// (outputs empty). What was read before another failure stays.
QZ4_API int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& conn,
                        dense1D<unsigned>& starts, dense1D<int>& kinds,
                        dense1D<unsigned>& properties);
QZ4_API int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& conn,
                        element_type& type);
QZ4_API int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& first,
                        dense2D<unsigned>& second, element_type& first_type,
                        element_type& second_type);

}  // namespace tessellix
}  // namespace qz4

#endif
