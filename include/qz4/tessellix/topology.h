// Topology: what follows from a connectivity alone. Node incidence graphs,
// element neighbours, boundaries and edges, subdomains and element sorting.
//
// Boundary b of an element is the entity one dimension lower listed at place
// b of its kind's local boundary list: row b of a neighbour matrix and column
// e * count + b of an element boundary matrix both refer to it. The kinds
// served by the neighbour and boundary services, with the rows they require:
//
//   kind             connectivity  neighbours  boundary matrix  boundaries
//   ET_EDGE2              2             2             1              2
//   ET_TRIA3              3             3             2              3
//   ET_QUAD4              4             4             2              4
//   ET_FACE_MIXED         4             4             2           3 or 4
//   ET_TETRA4             4             4             3              4
//   ET_PYRA5              5             5             4              5
//   ET_PENTA6             6             5             4              5
//   ET_HEXA8              8             6             4              6
//   ET_SOLID_MIXED        8             6             4         4, 5, 5 or 6
//
// A 3-row ET_FACE_MIXED matrix is taken as ET_TRIA3 before any test. Rows
// behind a mixed column's own count of boundaries stay NO_ID, and so does the
// fourth node of a triangular face in a 4-row boundary matrix.
#ifndef QZ4_TESSELLIX_TOPOLOGY_H
#define QZ4_TESSELLIX_TOPOLOGY_H

#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {

// ---------------------------------------------------------------------------
// Node incidence. None of these looks at the element kind: a column is a list
// of node IDs in which NO_ID is absent, and the connectivity is not checked.
// The compressed results cover nodes 0 to max_ID(connectivity): the entries
// of node n are second[index[n]] up to second[index[n+1]], index[0] is 0 and
// an empty connectivity gives index = {0}.
// ---------------------------------------------------------------------------

/// Records for each node one element that holds it: the highest column that
/// names the node wins. `ancestors` is updated, not replaced, so a caller can
/// gather several connectivities into one vector.
///
/// In: `connectivity`. In/out: `ancestors`; when empty it is first sized to
/// max_ID + 1 entries of NO_ID; when not, IDs at or past its size are skipped
/// and nodes that no element holds keep their entry.
/// Status: 0, also for an empty connectivity (and `ancestors` untouched);
/// -199 when the sizing failed, with `ancestors` as it was.
QZ4_API int get_ancestors(const dense2D<unsigned>& connectivity, dense1D<unsigned>& ancestors);

/// The elements of each node, in ascending order, in compressed form. An
/// element that names a node twice is listed twice for it.
///
/// In: `connectivity`. Out: `index` (max_ID + 2 entries), `elements`.
/// Status: 0; -199 when an output could not be allocated, with `index` empty.
QZ4_API int get_connected_elements(const dense2D<unsigned>& connectivity, dense1D<unsigned>& index,
                                   dense1D<unsigned>& elements);

/// The nodes sharing an element with each node, in compressed form: every
/// other node of every element of the node, once, in order of first meeting
/// (by ascending element, then by row). A node is never its own neighbour,
/// and the diagonal of a quadrangle counts as much as its sides.
///
/// In: `connectivity`. Out: `index` (max_ID + 2 entries), `neighbors`.
/// Status: 0; -199 when memory ran out, with `index` empty.
QZ4_API int get_node_graph(const dense2D<unsigned>& connectivity, dense1D<unsigned>& index,
                           dense1D<unsigned>& neighbors);

// ---------------------------------------------------------------------------
// Element neighbours.
// ---------------------------------------------------------------------------

/// For each element and each of its boundaries, the element across it.
/// Boundaries match by their node sets whatever their orientation (a
/// quadrangle only up to rotation and reversal), so solids that disagree on
/// the direction of a shared face still become neighbours; an element with a
/// repeated node may name itself. A boundary shared by more than two
/// elements is non-manifold: with `pair_first_two` false every element keeps
/// NO_ID across it; with true the two lowest element IDs are linked and the
/// others keep NO_ID. A boundary without a match is on the mesh boundary and
/// keeps NO_ID.
///
/// In: `connectivity`, `type` (one of the nine kinds above),
/// `pair_first_two`. Out: `neighbors`, rows by cols of the connectivity.
/// Status, tested in this order: 0 for an empty connectivity; -1 when
/// check_IDs(connectivity, type, NO_ID) fails (bad shape or padding of a
/// mixed kind); -2 for a kind not served; -1 when the row count is not the
/// kind's; -199 when `neighbors` could not be allocated. `neighbors` is
/// empty after every failure. A non-manifold mesh is not a failure.
QZ4_API int get_neighbors(const dense2D<unsigned>& connectivity, element_type type,
                          bool pair_first_two, dense2D<unsigned>& neighbors);

// ---------------------------------------------------------------------------
// Boundaries and edges.
// ---------------------------------------------------------------------------

/// Every local boundary of every element, as a face or edge connectivity:
/// boundary b of element e (of a pure kind) is column e * count + b, its
/// nodes in the local list's order, so the element's orientation is kept.
///
/// In: `connectivity`, `type`. Out: `boundaries`.
/// Status: 0, also for an empty connectivity; -1 when check_IDs with NO_ID
/// fails; -2 for a kind not served; -1 for a row count not the kind's; -199
/// when `boundaries` could not be allocated. `boundaries` is empty after
/// every failure.
QZ4_API int get_element_boundaries(const dense2D<unsigned>& connectivity, element_type type,
                                   dense2D<unsigned>& boundaries);

/// The boundaries across which `neighbors` names no element: the open
/// boundary of the mesh, in element order then local order, each with its
/// element's orientation. With neighbours from get_neighbors(..., false), the
/// sides of a non-manifold boundary come out too, once per element.
///
/// In: `connectivity`, `neighbors` (as get_neighbors gives it), `type`.
/// Out: `boundaries`.
/// Status: 0, also for an empty connectivity; -1 when check_IDs with NO_ID
/// fails; -2 for a kind not served; -1 for a row count not the kind's; -2
/// when `neighbors` is not shaped as the kind's neighbour matrix for this
/// connectivity; -199 when `boundaries` could not be allocated.
/// `boundaries` is empty after every failure.
QZ4_API int get_mesh_boundaries(const dense2D<unsigned>& connectivity,
                                const dense2D<unsigned>& neighbors, element_type type,
                                dense2D<unsigned>& boundaries);

/// Appends to `edges` the distinct corner-to-corner edges of a connectivity.
/// Of two equal edges (same nodes in either order) the first met is kept,
/// with its direction. `edges` is not searched: what it holds stays in front
/// and may come again. The order of the new edges is that of first meeting.
/// Every kind with an edge list is served, higher-order kinds by their
/// corners; ET_HEXA20, ET_NONE, ET_NODE and ET_EDGE_MIXED add nothing. The
/// row count of a pure kind is not tested: the matrix must hold its corners.
///
/// In: `connectivity`, `type`. In/out: `edges`, 2 rows.
/// Status: 0, also for an empty connectivity (edges untouched); -1 when
/// check_IDs with NO_ID fails; -3 when `edges` is neither empty nor 2 rows;
/// -199 when `edges` could not grow. `edges` is untouched after a failure.
QZ4_API int copy_edges(const dense2D<unsigned>& connectivity, element_type type,
                       dense2D<unsigned>& edges);

/// As above over the connectivities [first, last), flags[i] holding the kind
/// of matrix i: an edge shared by two matrices comes out once.
///
/// In: `first`, `last`, `flags`. In/out: `edges`.
/// Status, tested in this order: -2 when first > last; -3 when `flags` has
/// not last - first entries; -4 when `edges` is neither empty nor 2 rows; -1
/// when a matrix fails check_IDs with NO_ID for its kind; -199 when `edges`
/// could not grow; 0 otherwise, also for first == last.
QZ4_API int copy_edges(const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                       const dense1D<int>& flags, dense2D<unsigned>& edges);

// ---------------------------------------------------------------------------
// Subdomains and element sorting. These change their arguments in place and
// trust them: nothing calls check_IDs.
// ---------------------------------------------------------------------------

/// The connected parts of a mesh, through its neighbour matrix. Subdomains
/// are numbered by their lowest element; each lists its elements breadth
/// first from that element, the neighbours of an element taken in row order.
/// Entries above the column count (NO_ID) stop the walk; an entry equal to
/// the column count is a caller's error.
///
/// In: `neighbors`. Out: `elements`, the elements of subdomain k being
/// elements[starts[k]] up to elements[starts[k+1]]; `starts`, beginning with
/// 0 and ending with the column count ({0} for an empty matrix).
/// Status: 0; -199 when memory ran out (both lists then empty).
QZ4_API int get_subdomains(const dense2D<unsigned>& neighbors, dense1D<unsigned>& elements,
                           dense1D<unsigned>& starts);

/// Renumbers a mesh so that each subdomain is a run of columns, in the
/// breadth-first order of the form above: both matrices move to new blocks
/// (other views stay on the old ones) and the neighbour entries are
/// renumbered to the new columns.
///
/// In/out: `connectivity`, `neighbors` (same column count). Out: `starts`,
/// the column range of each subdomain.
/// Status, in this order: -1 when the two matrices differ in column count,
/// or when a neighbour entry equals it (both matrices untouched, `starts`
/// cleared); -199 when memory ran out, with both matrices and `starts`
/// cleared; 0.
QZ4_API int get_subdomains(dense2D<unsigned>& connectivity, dense2D<unsigned>& neighbors,
                           dense1D<unsigned>& starts);

/// Sorts the columns of a (mixed) connectivity by their number of real
/// nodes, the rows before the first NO_ID: longest columns first, and inside
/// a count the higher original column first. Columns without any real node
/// are dropped. Each column moves at most once, swapped into place in the
/// caller's block, so other views on it see the change.
///
/// In/out: `connectivity`. Out: `group_nodes`, the node count of each run;
/// `group_ends`, the column just past each run (no leading 0); `new_ids`,
/// the new column of each old one, or NO_ID for a dropped one. Without any
/// real node the lists are {NO_ID} and {0}.
/// Status: 0.
QZ4_API int sort_elfes(dense2D<unsigned>& connectivity, dense1D<unsigned>& group_nodes,
                       dense1D<unsigned>& group_ends, dense1D<unsigned>& new_ids);

/// As above, moving the columns of `neighbors` along and renumbering its
/// entries, so that neighbours of dropped columns become NO_ID. An empty
/// `neighbors` is left alone.
///
/// In/out: `connectivity`, `neighbors`. Out: `group_nodes`, `group_ends`,
/// `new_ids`.
/// Status: 0; -1, with every argument untouched, when `neighbors` is not
/// empty and its column count differs from the connectivity's.
QZ4_API int sort_elfes(dense2D<unsigned>& connectivity, dense2D<unsigned>& neighbors,
                       dense1D<unsigned>& group_nodes, dense1D<unsigned>& group_ends,
                       dense1D<unsigned>& new_ids);

}  // namespace tessellix
}  // namespace qz4

#endif
