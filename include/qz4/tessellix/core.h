// Index utilities: the version, node ID ranges and checks, renumbering,
// distinct IDs of a mesh, matching two numberings, bounding boxes.
//
// Every service of the library follows the same road: outputs are cleared
// (where the service replaces them), an empty input answers 0 at once,
// connectivities are checked with check_IDs, the element kind picks one code
// path, the output is allocated in one step (-199 when memory is exhausted),
// then the work runs and 0 comes back. Negative statuses -1 to -6 as a rule
// name the faulty argument, counted from 1. Nothing throws and nothing is
// logged.
#ifndef QZ4_TESSELLIX_CORE_H
#define QZ4_TESSELLIX_CORE_H

#include "qz4/dense.h"
#include "qz4/element_type.h"
#include "qz4/export.h"
#include "qz4/fixed.h"

namespace qz4 {
namespace tessellix {

/// The library's version, "4.2".
QZ4_API const char* version();

/// Largest ID of `ids` other than NO_ID; 0 when every entry is NO_ID or 0, and
/// NO_ID when `ids` is empty (so 1 + max_ID is the node count either way).
QZ4_API unsigned max_ID(const dense1D<unsigned>& ids);

/// Largest ID of a connectivity other than NO_ID; NO_ID when rows*cols is 0.
/// Views with ld > rows are read column by column.
QZ4_API unsigned max_ID(const dense2D<unsigned>& connectivity);

/// True when `ids` is empty, `node_count` is NO_ID, or every entry is NO_ID or
/// below `node_count`.
QZ4_API bool check_IDs(const dense1D<unsigned>& ids, unsigned node_count);

/// As the vector form, over every entry of every column.
QZ4_API bool check_IDs(const dense2D<unsigned>& connectivity, unsigned node_count);

/// Checks a connectivity of kind `type` against `node_count`. True when empty.
/// ET_FACE_MIXED: 3 or 4 rows, NO_ID allowed in row 3 only.
/// ET_SOLID_MIXED: 4, 5, 6 or 8 rows; a NO_ID in row 4, 5 or 6 must be
/// followed by NO_ID down to the last row.
/// Mixed kinds are verified for shape even with `node_count` NO_ID.
/// Any other kind: true when `node_count` is NO_ID whatever the rows; else
/// rows must equal element_nodes[type] and every entry be below node_count,
/// so NO_ID is refused.
QZ4_API bool check_IDs(const dense2D<unsigned>& connectivity, element_type type,
                       unsigned node_count);

/// Adds `shift` to every entry but NO_ID, with 32-bit wrap-around. Returns 0.
QZ4_API int shift_indices(dense1D<unsigned>& ids, int shift);

/// Adds `shift` to the entries of a connectivity. Mixed kinds keep their
/// NO_ID padding; for every other kind each entry is shifted, NO_ID included.
/// Returns 0.
QZ4_API int shift_indices(dense2D<unsigned>& connectivity, int shift, element_type type);

/// Renumbers in place: an entry v below new_ids.size() becomes new_ids[v];
/// other entries (NO_ID included) stay.
QZ4_API void change_indices(dense1D<unsigned>& ids, const dense1D<unsigned>& new_ids);

/// As the vector form, for every entry of every column of the view.
QZ4_API void change_indices(dense2D<unsigned>& connectivity, const dense1D<unsigned>& new_ids);

/// Scatters `values` through `perm`: new[perm[i]] = old[i] for i below the
/// smaller size, where perm[i] is a valid position. Places no valid perm[i]
/// reaches keep their value.
QZ4_API void permutation(dense1D<unsigned>& values, const dense1D<unsigned>& perm);
QZ4_API void permutation(dense1D<double>& values, const dense1D<unsigned>& perm);

/// Appends to `out` the distinct IDs of the matrices [first, last), in order
/// of first appearance (matrix, column, row), NO_ID left out. `out` is neither
/// cleared nor searched. Returns 0, or -3 when first > last.
QZ4_API int unique_indices(dense1D<unsigned>& out, const dense2D<unsigned>* first,
                           const dense2D<unsigned>* last);

/// The range form over one connectivity. Returns 0.
QZ4_API int unique_indices(dense1D<unsigned>& out, const dense2D<unsigned>& connectivity);

/// Appends to `out` the distinct entries of `ids` in order of first
/// appearance, leaving out NO_ID and every member of `excluded`. Returns 0.
QZ4_API int unique_indices(dense1D<unsigned>& out, const dense1D<unsigned>& ids,
                           const dense1D<unsigned>& excluded);

/// The form above with nothing excluded. Returns 0.
QZ4_API int unique_indices(dense1D<unsigned>& out, const dense1D<unsigned>& ids);

/// Number of distinct IDs other than NO_ID in [first, last); -2 when
/// first > last.
QZ4_API int count_unique_indices(const dense2D<unsigned>* first, const dense2D<unsigned>* last);

/// The range form over one connectivity.
QZ4_API int count_unique_indices(const dense2D<unsigned>& connectivity);

/// Matches two lists of IDs: b_to_a[j] is the position in `a` of b[j] (the
/// last one when a value repeats in `a`), a_to_b[i] the last position j of `b`
/// matched to i; unmatched entries are NO_ID. NO_ID never matches. Returns 0,
/// or -199 with both outputs empty when they could not be allocated.
QZ4_API int get_IDs(const dense1D<unsigned>& a, const dense1D<unsigned>& b,
                    dense1D<unsigned>& b_to_a, dense1D<unsigned>& a_to_b);

/// Matches the columns of two connectivities. With `exact_order` two columns
/// match when identical; without it they also match up to cyclic rotation and
/// reversal, the symmetries of a polygon. The first matching column of `a`
/// wins. Returns 0, or -2 with both outputs empty when the row counts differ,
/// or -199 with both outputs empty when they could not be allocated.
QZ4_API int get_IDs(const dense2D<unsigned>& a, const dense2D<unsigned>& b,
                    dense1D<unsigned>& b_to_a, dense1D<unsigned>& a_to_b, bool exact_order);

/// Grows a box the caller initialised by every column of `pos`. The
/// comparisons are strict, so NaN coordinates change nothing.
/// Returns 0, or -1 when pos.rows() is not the box dimension.
QZ4_API int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 2>& box_min,
                             vector_fixed<double, 2>& box_max);
QZ4_API int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 3>& box_min,
                             vector_fixed<double, 3>& box_max);

/// Grows the box by the columns listed in `ids`, which must not hold NO_ID.
/// Returns 0 at once for an empty `ids`; -1 when pos.rows() is not the box
/// dimension; -2 when an ID is not below pos.cols().
QZ4_API int inc_bounding_box(const dense2D<double>& pos, const dense1D<unsigned>& ids,
                             vector_fixed<double, 2>& box_min, vector_fixed<double, 2>& box_max);
QZ4_API int inc_bounding_box(const dense2D<double>& pos, const dense1D<unsigned>& ids,
                             vector_fixed<double, 3>& box_min, vector_fixed<double, 3>& box_max);

/// Grows the box by the nodes of a connectivity (padding skipped). Statuses as
/// the form with `ids`.
QZ4_API int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                             vector_fixed<double, 2>& box_min, vector_fixed<double, 2>& box_max);
QZ4_API int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                             vector_fixed<double, 3>& box_min, vector_fixed<double, 3>& box_max);

}  // namespace tessellix
}  // namespace qz4

#endif
