// Mesh quality: edge lengths and qualities, shape qualities.
//
// Shape quality is 1 for the ideal element of each kind (equilateral
// triangle, square, regular tetrahedron, regular pyramid, right wedge with an
// equilateral base and square sides, cube), 0 for a flat element, and
// negative for an inverted solid or an inverted face in the plane; every
// value lies in [-1, 1]. The kinds measured, with the kind their
// connectivity is checked as:
//
//   type             measure                             checked as
//   ET_EDGE2         1.0 whatever the coordinates        ET_EDGE2
//   ET_TRIA3         triangle                            ET_TRIA3
//   ET_QUAD4         quadrangle                          ET_QUAD4
//   ET_FACE_MIXED    3 rows: triangle; otherwise per     ET_TRIA3 with 3 rows,
//                    column, NO_ID in row 3 a triangle   else ET_FACE_MIXED
//   ET_TETRA4        tetrahedron                         ET_TETRA4
//   ET_PYRA5         pyramid                             ET_PYRA5
//   ET_PENTA6        wedge                               ET_PENTA6
//   ET_HEXA8         hexahedron                          ET_HEXA8
//   ET_SOLID_MIXED   by the row count alone: 4 rows      the kind chosen
//                    tetrahedra, 5 pyramids, 6 wedges,
//                    any other hexahedra
//
// Other kinds (quadratic ones included) have no measure. A mixed solid is
// not read column by column: a padded column fails the check of the pure
// kind its row count chooses, so mixed solids are measured through the range
// form, one matrix per shape.
//
// The row count of `pos` picks the form of a face: 2 rows measure in the
// plane, with a sign; 3 rows in space, never negative; a triangle in
// coordinates of any other row count gets 0, a quadrangle the space form.
// Solids are measured in space, their faces by the same row test. Rows past
// the third are not read, and missing ones count as 0, so a solid in 2-row
// coordinates is flat.
#ifndef QZ4_TESSELLIX_QUALITY_H
#define QZ4_TESSELLIX_QUALITY_H

#include "qz4/histogram.h"
#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {

// ---------------------------------------------------------------------------
// Edge lengths and edge qualities.
// ---------------------------------------------------------------------------

/// Per-node statistics of the Euclidean lengths of the edges of a 2-row
/// connectivity, measured over every row of `pos`. Edges are not
/// deduplicated: a repeated edge counts at each occurrence, and an edge with
/// both ends on one node counts twice there.
///
/// In: `pos` (any row count), `connectivity` (2 rows). Out: `lengths`, 3 rows
/// and one column per node of `pos`: row 0 the shortest incident edge, row 1
/// the mean, row 2 the longest; a node on no edge keeps (DBL_MAX, 0, 0).
/// Status: 0, also for a connectivity without columns (then `lengths` stays
/// empty); -2 when `connectivity` has not 2 rows or check_IDs as ET_EDGE2
/// against pos.cols() fails; -199 when `lengths` or the counts could not be
/// allocated. `lengths` is cleared first and empty after every failure.
QZ4_API int edge_lengths(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                         dense2D<double>& lengths);

/// Feeds `hist` with the length of every distinct edge of a connectivity in a
/// size field: an edge as long as the sizes at its ends ask for measures 1.
/// The edges are those of copy_edges, in the order of its set; sizes vary
/// along an edge so that their mean is the logarithmic one. Edges with an end
/// whose size is not above 0 are left out; every other edge is fed even when
/// the status is negative. `hist` is not reset.
///
/// In: `pos` (2 or 3 rows), `connectivity`, `type`, `H` (one size per node).
/// In/out: `hist`.
/// Status, tested in this order: 0, also for an empty connectivity; -1 when
/// pos has neither 2 nor 3 rows; -2 when check_IDs for `type` against
/// pos.cols() fails; -199 when the edge set could not be allocated; -4 when H
/// has not pos.cols() entries or an edge has an end whose size is not above
/// 0. An edge with an end past the end of the field is left out.
QZ4_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                           element_type type, const dense1D<double>& H, misc::histogram& hist);

/// As the form above, in a tensor field `M`: 3 rows of packed upper-triangle
/// tensors with 2-row `pos`, 6 rows with 3-row `pos` (the pairing is not
/// checked). Along an edge the tensor at each end is read as a size in the
/// edge's direction. An end whose tensor is_valid_metric refuses leaves the
/// edge out; so does every end when M has fewer rows than a tensor of
/// that dimension.
///
/// Status as the form above, with one difference kept on purpose: with 3-row
/// `pos` the edge pass's -4 is never reported, so a field of invalid tensors
/// or of the wrong column count returns 0 (the valid edges are still fed).
QZ4_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                           element_type type, const dense2D<double>& M, misc::histogram& hist);

/// The scalar form over the connectivities [first, last), flags[i] holding
/// the kind of matrix i: an edge shared by two matrices is fed once.
///
/// Status, tested in this order: 0, also for first == last; -1 when pos has
/// neither 2 nor 3 rows; -4 when `flags` has not last - first entries (also
/// when first > last); -2 when a matrix fails check_IDs for its kind; -199
/// when the edge set could not be allocated; -5 when H has not pos.cols()
/// entries or an edge has an end whose size is not above 0.
QZ4_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                           const dense2D<unsigned>* last, const dense1D<int>& flags,
                           const dense1D<double>& H, misc::histogram& hist);

/// The tensor form over the connectivities [first, last). Statuses as the
/// scalar range form, -5 included whatever the row count of `pos`.
QZ4_API int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                           const dense2D<unsigned>* last, const dense1D<int>& flags,
                           const dense2D<double>& M, misc::histogram& hist);

// ---------------------------------------------------------------------------
// Shape qualities.
// ---------------------------------------------------------------------------

/// One shape quality per element of a connectivity of kind `type` (see the
/// table at the top of this header).
///
/// In: `pos`, `connectivity`, `type`. Out: `qualities`, one value per column.
/// Status, tested in this order: -3 when `type` has no measure (also for an
/// empty connectivity); 0 with `qualities` empty when the connectivity is
/// empty (rows * cols = 0); -2 when check_IDs of the kind checked against
/// pos.cols() fails; -199 when `qualities` could not be allocated; 0.
/// `qualities` is empty after every failure.
QZ4_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                            element_type type, dense1D<double>& qualities);

/// The qualities of the connectivities [first, last), flags[i] holding the
/// kind of matrix i, one after the other in one vector. A matrix with no
/// entry is skipped, yet consumes its flag and gives a zero per column.
///
/// Status, tested in this order: -3 when first > last; -4 when `flags` has not
/// last - first entries; -199 when `qualities` could not be allocated; then
/// the status of the single form for each matrix in turn, stopping at the
/// first that is not 0. `qualities` is empty after every failure, the values
/// of earlier matrices lost as well.
QZ4_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                            const dense2D<unsigned>* last, const dense1D<int>& flags,
                            dense1D<double>& qualities);

/// The range form into a histogram: `h` is fed all the qualities when the
/// status is 0, and is not touched otherwise. Statuses as the range form.
QZ4_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                            const dense2D<unsigned>* last, const dense1D<int>& flags,
                            misc::histogram& h);

/// The histogram form over one connectivity. Statuses as the range form
/// (-3 when `type` has no measure, -2, -199).
QZ4_API int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                            element_type type, misc::histogram& h);

}  // namespace tessellix
}  // namespace qz4

#endif
