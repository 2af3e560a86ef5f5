// Spatial search and mesh editing: the node detector, node merging,
// clean-up, clipping, transforms and copies.
//
// Searches are deterministic: trees are built by insertion in an order fixed
// by a shuffle with a constant seed, so the same input always gives the same
// tree, the same tie-breaks among equidistant nodes and the same order of
// box results.
#ifndef QZ4_TESSELLIX_EDITING_H
#define QZ4_TESSELLIX_EDITING_H

#include "qz4/export.h"
#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {

template <unsigned D>
class node_tree;

/// A k-d tree over columns of a 2-row or 3-row coordinate matrix, answering
/// which node is closest to a point and which nodes lie in a box.
///
/// The detector keeps the address of the matrix object it was built on and
/// reads coordinates through it at every call, so it sees later changes of
/// that object, which must outlive it. Searches rely on the order the tree
/// was built in: a node moved across the split plane of an entry above it
/// after its insertion may be missed; reinit after such moves. One tree entry per inserted node; a
/// node inserted twice is held, counted and reported twice. Queries of the
/// other dimension are accepted: a 2D point on a 3D tree has z = 0, a 3D point
/// on a 2D tree loses z. find_in_box writes the detector's box fields, so one
/// detector must not serve two find_in_box calls at once.
class QZ4_API node_detector {
 public:
  /// An empty detector: no tree until reinit.
  node_detector();
  /// As reinit(pos); a status is dropped and leaves the detector empty.
  explicit node_detector(const dense2D<double>& pos);
  /// As reinit(pos, indices), status dropped.
  node_detector(const dense2D<double>& pos, const dense1D<unsigned>& indices);
  /// As reinit(pos, connectivity), status dropped.
  node_detector(const dense2D<double>& pos, const dense2D<unsigned>& connectivity);
  /// As reinit(pos, first, last), status dropped.
  node_detector(const dense2D<double>& pos, const dense2D<unsigned>* first,
                const dense2D<unsigned>* last);
  /// A detector on the same coordinate matrix with a private copy of the tree.
  node_detector(const node_detector& other);
  ~node_detector();

  /// Deletes the tree, if any, and shares the source's coordinate matrix with
  /// a private copy of its tree. Assigning a detector to itself does nothing.
  node_detector& operator=(const node_detector& other);

  /// Deletes the tree: the detector is empty again.
  void clear();

  /// Builds a tree on all columns of `pos`, which chooses the dimension by its
  /// row count. In: `pos`, kept by address. Status: 0; -1 when `pos` has
  /// neither 2 nor 3 rows, and the detector is then empty.
  int reinit(const dense2D<double>& pos);

  /// Builds a tree on the nodes of `indices`, in a shuffled order.
  /// In: `pos` (kept by address), `indices`. Status: 0; -1 for a row count
  /// other than 2 or 3, -2 when an index is neither NO_ID nor a column of
  /// `pos`; on both the detector keeps its old tree.
  int reinit(const dense2D<double>& pos, const dense1D<unsigned>& indices);

  /// As the `indices` form over the distinct nodes of `connectivity`.
  /// Status: 0, -1 or -2 as that form.
  int reinit(const dense2D<double>& pos, const dense2D<unsigned>& connectivity);

  /// As the `indices` form over the distinct nodes of the matrices [first,
  /// last). Status: 0; -3 when first > last; else -1 or -2 as that form.
  int reinit(const dense2D<double>& pos, const dense2D<unsigned>* first,
             const dense2D<unsigned>* last);

  /// Adds the nodes of `indices`, in a shuffled order, to the tree; the
  /// caller's vector is not changed. Nodes that are not columns of the
  /// coordinates are refused. Result: the number of entries added; 0 with no
  /// tree.
  unsigned long insert(const dense1D<unsigned>& indices);

  /// As the vector form over the distinct nodes of `connectivity`.
  unsigned long insert(const dense2D<unsigned>& connectivity);

  /// Number of tree entries; 0 with no tree.
  unsigned long size() const;

  /// The node closest to `point`; NO_ID when the tree holds nothing. Among
  /// equidistant nodes the answer is fixed by the tree alone.
  unsigned long find_closest(const vector_fixed<double, 2>& point) const;
  unsigned long find_closest(const vector_fixed<double, 3>& point) const;

  /// The closest node to each column of `points`, as find_closest gives it
  /// for that column alone, ties included. The columns are searched in the
  /// order of a space-filling curve, so that neighbouring queries share the
  /// tree's cache lines, and the answers are written in column order. In:
  /// `points`, with the detector's dimension in rows (2 or 3 without a
  /// tree). Out: `closest`, one node per column, NO_ID where the tree holds
  /// nothing. Status: 0; -1 when `points` has another row count; -199 when
  /// scratch could not be had. `closest` is empty after a failure.
  int find_closest(const dense2D<double>& points, dense1D<unsigned>& closest) const;

  /// The node closest to node `node` other than itself (a node at the same
  /// place is an answer at distance 0). `node` need not be in the tree.
  /// NO_ID with no tree, no other entry, or `node` not a column of the
  /// coordinates.
  unsigned long find_closest(unsigned node) const;

  /// Appends to `found` every entry inside the closed box [lo, hi], in the
  /// tree's pre-order, lower side first; `found` is not cleared. A box with
  /// lo above hi on an axis finds nothing. With no tree, nothing happens.
  void find_in_box(const vector_fixed<double, 2>& lo, const vector_fixed<double, 2>& hi,
                   dense1D<unsigned>& found) const;
  void find_in_box(const vector_fixed<double, 3>& lo, const vector_fixed<double, 3>& hi,
                   dense1D<unsigned>& found) const;

 private:
  int build(const dense2D<double>& pos, const dense1D<unsigned>& indices);
  node_tree<2>* tree2_;
  node_tree<3>* tree3_;
};

// ---------------------------------------------------------------------------
// Node merging. Nodes within `tolerance` (absolute, inclusive) of each other
// are mapped onto one survivor; candidate pairs are applied closest first and
// only while both nodes are still their own survivors, and chains are then
// followed to their end, so a cluster may span more than the tolerance.
// `node_map` gets one entry per column of `pos`: i for a survivor or a node not
// considered, else the survivor. Coordinates are never moved (but by the
// positions form) and collapsed elements stay. The result is the number of
// nodes mapped away, or a negative status; besides the statuses of each
// form, -199 when the node map (or, for the positions form, the new
// coordinates) could not be allocated, with the inputs unchanged. A NaN
// tolerance merges nothing.
// ---------------------------------------------------------------------------

/// Maps nodes of `indices1` onto nodes of `indices2`; among pairs at one
/// distance, the one found first wins, so a node earlier in `indices2`
/// survives. In: `pos` (2 or 3 rows), `indices1`, `indices2`, `tolerance`.
/// Out: `node_map`. Status: 0 for a `pos` of no column (map empty); -1 rows
/// not 2 or 3; -2 `indices1` or -3 `indices2` holds an index beyond the
/// columns; -4 `tolerance` below 0.
QZ4_API int merge(const dense2D<double>& pos, const dense1D<unsigned>& indices1,
                  const dense1D<unsigned>& indices2, dense1D<unsigned>& node_map, double tolerance);

/// The form above with one list for both sides: among coincident nodes the
/// first of `indices` survives. Status: as above (-2 for a bad index).
QZ4_API int merge(const dense2D<double>& pos, const dense1D<unsigned>& indices,
                  dense1D<unsigned>& node_map, double tolerance);

/// Merges the nodes of the connectivities [first, last) and rewrites them
/// through the map. `merge_type` 0 merges any two of their nodes; 1 only two
/// nodes of one element, in one pass, where at equal distance the smaller
/// node index survives; 2 repeats such passes until one merges nothing.
/// In: `pos`, `tolerance`, `merge_type`. In/out: the connectivities.
/// Out: `node_map`. Status, tested in this order: 0 when `pos` has no column
/// or the range is empty; -1 rows of `pos` not 2 or 3; -3 first > last; -5
/// `tolerance` below 0; -6 `merge_type` above 2; 0 when the connectivities
/// hold no node; -2 a node is not a column of `pos`. Negative statuses leave
/// the connectivities unchanged.
QZ4_API int merge(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last,
                  dense1D<unsigned>& node_map, double tolerance, unsigned merge_type);

/// The range form with a map of its own. Statuses as the range form.
QZ4_API int merge(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last,
                  double tolerance, unsigned merge_type);

/// The range form over one connectivity. Statuses as the range form.
QZ4_API int merge(const dense2D<double>& pos, dense2D<unsigned>& connectivity,
                  dense1D<unsigned>& node_map, double tolerance, unsigned merge_type);

/// The one-connectivity form with a map of its own.
QZ4_API int merge(const dense2D<double>& pos, dense2D<unsigned>& connectivity, double tolerance,
                  unsigned merge_type);

/// The range form over two connectivities, which are rebound to the
/// rewritten matrices on success. Statuses as the range form.
QZ4_API int merge(const dense2D<double>& pos, dense2D<unsigned>& connectivity1,
                  dense2D<unsigned>& connectivity2, dense1D<unsigned>& node_map, double tolerance,
                  unsigned merge_type);

/// The two-connectivity form with a map of its own.
QZ4_API int merge(const dense2D<double>& pos, dense2D<unsigned>& connectivity1,
                  dense2D<unsigned>& connectivity2, double tolerance, unsigned merge_type);

/// Global merging of the nodes of `connectivity` within 1e-6.
QZ4_API int merge(const dense2D<double>& pos, dense2D<unsigned>& connectivity);

/// Global merging of the nodes of two connectivities within 1e-6.
QZ4_API int merge(const dense2D<double>& pos, dense2D<unsigned>& connectivity1,
                  dense2D<unsigned>& connectivity2);

/// Merges all nodes of `pos` (a single list) and moves each merged node onto
/// its survivor; the column count stays. `pos` is rebound to new storage, so
/// other holders of the old storage keep the old positions.
/// In/out: `pos`. In: `tolerance`. Out: `node_map`. Status: 0 when `pos` has
/// no column; -1 rows not 2 or 3; -3 `tolerance` below 0.
QZ4_API int merge(dense2D<double>& pos, dense1D<unsigned>& node_map, double tolerance);

/// The positions form with a map of its own.
QZ4_API int merge(dense2D<double>& pos, double tolerance);

// ---------------------------------------------------------------------------
// Clean-up.
// ---------------------------------------------------------------------------

/// Removes the nodes at or above `min_index` that no element of [first,
/// last) uses, packs the other columns of `pos` down in their order within
/// the same storage (other holders of it see the change) and renumbers the
/// connectivities (NO_ID stays). Nodes below `min_index` stay, used or not.
/// In/out: `pos`, the connectivities. Out: `node_map`, the new index of each
/// old node or NO_ID (empty when nothing was looked at).
/// Result: number of nodes removed; -3 when last < first; -2 when a
/// connectivity names a node beyond the columns (nothing changed); 0 for an
/// empty range, an empty `pos` or `min_index` not below the column count;
/// -199 when the maps could not be allocated.
QZ4_API int simplify(dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last,
                     dense1D<unsigned>& node_map, unsigned min_index);

/// The range form over one connectivity.
QZ4_API int simplify(dense2D<double>& pos, dense2D<unsigned>& connectivity,
                     dense1D<unsigned>& node_map, unsigned min_index);

/// The one-connectivity form with a map of its own.
QZ4_API int simplify(dense2D<double>& pos, dense2D<unsigned>& connectivity, unsigned min_index);

/// The range form over two connectivities with a map of its own: a node used
/// by either stays.
QZ4_API int simplify(dense2D<double>& pos, dense2D<unsigned>& connectivity1,
                     dense2D<unsigned>& connectivity2, unsigned min_index);

/// Removes the elements that name a node twice and packs the others in their
/// order. With `strict` false a repeated NO_ID is padding and not a repeat;
/// with `strict` true it is. Node values are not checked.
/// In/out: `connectivity`. Out: `element_map`, the new column of each old
/// element or NO_ID. Result: number of elements removed; -199 when the
/// scratch or the map could not be allocated, before anything changed.
QZ4_API int remove_degenerated(dense2D<unsigned>& connectivity, dense1D<unsigned>& element_map,
                               bool strict);

// ---------------------------------------------------------------------------
// Clipping.
// ---------------------------------------------------------------------------

/// Appends to `clipped` the columns of `connectivity` whose nodes all lie
/// strictly on the side of the plane that `normal` points to; nothing is cut
/// and a node on the plane counts as outside. A NO_ID ends an element's
/// nodes. With 2-row coordinates, z of a node's offset counts as 0. The normal
/// need not be of unit length. In: `pos`, `connectivity`, `point`, `normal`.
/// In/out: `clipped`, added to. Status: 0, also for an empty `connectivity`
/// (`clipped` untouched); -2 a node beyond the columns of `pos`; -4 `normal`
/// shorter than 1e-12; -5 `clipped` not empty and of another row count;
/// -199 when the append failed.
QZ4_API int clip(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                 const vector_fixed<double, 3>& point, const vector_fixed<double, 3>& normal,
                 dense2D<unsigned>& clipped);

// ---------------------------------------------------------------------------
// Transforms, in place. A 2D transform needs 2 rows of `pos` and a 3D one 3:
// fewer rows are first grown with zeros (and stay grown), extra rows are left
// alone. Other holders of the storage see the change. An empty `pos` or an
// identity transform (all components exactly 0, angle exactly 0, factor
// exactly 1) returns 0 at once without resizing. The subset forms move each
// listed node in turn (a repeated node moves twice); the connectivity forms
// move each distinct node of the matrix once. No transform has a failure
// status.
// ---------------------------------------------------------------------------

/// p := p + t for all nodes. Result: the column count, or 0.
QZ4_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& t);
QZ4_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& t);
/// p := p + t for the listed nodes; indices beyond the columns are skipped.
/// Result: number of nodes moved.
QZ4_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& t,
                      const dense1D<unsigned>& indices);
QZ4_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& t,
                      const dense1D<unsigned>& indices);
/// p := p + t for the nodes of `connectivity`. Result: number of nodes moved.
QZ4_API int translate(dense2D<double>& pos, const vector_fixed<double, 2>& t,
                      const dense2D<unsigned>& connectivity);
QZ4_API int translate(dense2D<double>& pos, const vector_fixed<double, 3>& t,
                      const dense2D<unsigned>& connectivity);

/// Rotation by `angle` radians, counter-clockwise, about `center`, of all
/// nodes. Result: the column count, or 0.
QZ4_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle);
/// The same for the listed nodes; indices beyond the columns are skipped. An
/// empty list still grows `pos` to 2 rows. Result: number of nodes moved.
QZ4_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
                   const dense1D<unsigned>& indices);
/// The same for the nodes of `connectivity`.
QZ4_API int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
                   const dense2D<unsigned>& connectivity);
/// Rotation about the axis through `center` along `rotation`, by the length
/// of `rotation` in radians (Rodrigues form, with series near 0), of all
/// nodes. Result: the column count, or 0.
QZ4_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
                   const vector_fixed<double, 3>& rotation);
/// The same for the listed nodes; indices beyond the columns are skipped.
QZ4_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
                   const vector_fixed<double, 3>& rotation, const dense1D<unsigned>& indices);
/// The same for the nodes of `connectivity`.
QZ4_API int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
                   const vector_fixed<double, 3>& rotation, const dense2D<unsigned>& connectivity);

/// p := p + (p - center)(factor - 1) for all nodes; 0 collapses them on the
/// center, a negative factor mirrors through it. Result: the column count,
/// or 0.
QZ4_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor);
QZ4_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor);
/// The same for the listed nodes, which must be columns of `pos`.
/// Result: always 0.
QZ4_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
                 const dense1D<unsigned>& indices);
QZ4_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
                 const dense1D<unsigned>& indices);
/// The same for the nodes of `connectivity`. Result: always 0.
QZ4_API int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
                 const dense2D<unsigned>& connectivity);
QZ4_API int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
                 const dense2D<unsigned>& connectivity);

// ---------------------------------------------------------------------------
// Copies. New nodes are appended to `pos` as copies of the distinct nodes of
// `source` in order of first appearance, and the copied elements name them in
// the same local order (NO_ID padding kept). The nodes of `source` must be
// columns of `pos`; they are not checked.
// ---------------------------------------------------------------------------

/// One copy of `source` on new nodes. In/out: `pos`. In: `source`.
/// Out: `copy`. Status: 0; -199 when an allocation failed.
QZ4_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned>& copy,
                      const dense2D<unsigned>& source);

/// `n` copies of `source`, copy k rotated by k times `angle` about `center`
/// (which stays put) and then translated by k times `t`, appended to
/// `copies` (whose row count becomes the larger). `source` may be `copies`
/// itself: the copies are made from it as it was on entry.
/// Status: 0, also for an empty `pos` or n = 0 (nothing done); -199.
QZ4_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned>& copies,
                      const vector_fixed<double, 2>& t, const vector_fixed<double, 2>& center,
                      double angle, unsigned n, const dense2D<unsigned>& source);

/// The 3D form, rotating by k times the rotation vector `rotation`. Unlike
/// the 2D form it reads `source` as it stands at each copy, so passing
/// `copies` as `source` copies the copies too. Status: as the 2D form.
QZ4_API int copy_mesh(dense2D<double>& pos, dense2D<unsigned>& copies,
                      const vector_fixed<double, 3>& t, const vector_fixed<double, 3>& center,
                      const vector_fixed<double, 3>& rotation, unsigned n,
                      const dense2D<unsigned>& source);

/// A mirror copy of `source` through the line (2D) or plane (3D) through
/// `point` normal to `normal` (of any non-zero length). Element node order is
/// kept, so the copies have the opposite orientation; nodes on the plane are
/// copied too, not shared. Status: 0, also for an empty `pos`; -4 when
/// `normal` is exactly zero; -199 when an allocation failed.
QZ4_API int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned>& copy,
                          const vector_fixed<double, 2>& point,
                          const vector_fixed<double, 2>& normal, const dense2D<unsigned>& source);
QZ4_API int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned>& copy,
                          const vector_fixed<double, 3>& point,
                          const vector_fixed<double, 3>& normal, const dense2D<unsigned>& source);

}  // namespace tessellix
}  // namespace qz4

#endif
