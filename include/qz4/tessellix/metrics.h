// Size metrics: tensors, validity and repair, intersection, gradation.
//
// A metric is the size prescription at a node. An isotropic metric is one
// target edge size h > 0 per node, a field of them a dense1D<double>. An
// anisotropic metric is a symmetric positive definite tensor M per node; a
// segment d has length sqrt(d' M d) in a constant tensor, so M = I / h^2 is
// the tensor of size h, and an eigenvalue l of M is the size 1/sqrt(l) along
// its eigenvector. A tensor field is a dense2D<double> with one column per
// node: 3 rows in 2D, 6 in 3D, the upper triangle packed by columns (LAPACK's
// packed storage with UPLO = 'U'): (m11, m12, m22) and (m11, m12, m22, m13,
// m23, m33). The row count is the only thing that tells a field's dimension.
//
// Eigenvalues come in ascending order in a vector_fixed D; the eigenvector of
// D[k] is column k of the column-major matrix_fixed Q. The 2D forms are closed
// and never call LAPACK; the 3D ones call dspev.
#ifndef QZ4_TESSELLIX_METRICS_H
#define QZ4_TESSELLIX_METRICS_H

#include "qz4/fixed.h"
#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {

typedef symmetric_fixed<double, 2> metric2;
typedef symmetric_fixed<double, 3> metric3;

// ---------------------------------------------------------------------------
// Tensors and eigen-decomposition. None of these allocates or keeps state.
// ---------------------------------------------------------------------------

/// The tensor of size h: 1/h^2 on the diagonal, 0 elsewhere. For h <= 0 or a
/// non-number, the zero tensor, which is_valid_metric refuses.
QZ4_API void metric_iso_to_aniso(double h, metric2& M);
QZ4_API void metric_iso_to_aniso(double h, metric3& M);

/// Eigenvalues of the 2x2 symmetric tensor [a c; c b] (note: both diagonal
/// entries first). The larger is built from the smaller, and whichever is
/// below 1e-12 times the other in magnitude is recomputed from the
/// determinant, which the subtraction would have cancelled. The values are
/// written always; the result is true when both are finite.
QZ4_API bool sym2_eigen_values(double a, double b, double c, double& l1, double& l2);

/// As sym2_eigen_values, with unit eigenvectors: u1 is orthogonal to the
/// larger row of [a c; c b] - l1 I, or (1, 0) when that is negligible against
/// the diagonal (a multiple of the identity, the zero tensor); u2 is u1 turned
/// a quarter turn, (-u1[1], u1[0]). On false, u1 and u2 are untouched.
QZ4_API bool sym2_eigen_pairs(double a, double b, double c, double& l1, double& l2,
                              vector_fixed<double, 2>& u1, vector_fixed<double, 2>& u2);

/// Eigenvalues (ascending) of a 3D tensor through LAPACK's dspev; true when
/// dspev reports success.
QZ4_API bool sym3_eigen_values(const metric3& M, vector_fixed<double, 3>& w);

/// As sym3_eigen_values, with the orthonormal eigenvectors as columns of Z.
QZ4_API bool sym3_eigen_pairs(const metric3& M, vector_fixed<double, 3>& w,
                              matrix_fixed<double, 3, 3>& Z);

/// M q = D q. 2D: the closed form of sym2_eigen_pairs (on false D is written,
/// Q untouched). 3D: dspev.
QZ4_API bool eigen_pairs(const metric2& M, vector_fixed<double, 2>& D,
                         matrix_fixed<double, 2, 2>& Q);
QZ4_API bool eigen_pairs(const metric3& M, vector_fixed<double, 3>& D,
                         matrix_fixed<double, 3, 3>& Q);

/// The generalised problem B q = D A q, through the Cholesky factor L of A:
/// the eigen pairs of L^-1 B L^-T, with the eigenvectors taken back by L^-T
/// and scaled to unit Euclidean length (they are not A-orthonormal).
/// False, with D and Q untouched, when A is not positive definite: in 2D when
/// A11 <= 0 or its second pivot is <= 0; in 3D when A11 or the second pivot
/// is not > 0, or the last pivot < 0 (a zero last pivot passes and sends
/// infinities on). In 2D any symmetric B is taken; in 3D a nonzero B must
/// pass the same factorisation, and when dspev fails Q is zero and D holds
/// what it wrote.
QZ4_API bool eigen_pairs(const metric2& A, const metric2& B, vector_fixed<double, 2>& D,
                         matrix_fixed<double, 2, 2>& Q);
QZ4_API bool eigen_pairs(const metric3& A, const metric3& B, vector_fixed<double, 3>& D,
                         matrix_fixed<double, 3, 3>& Q);

/// M(i,j) = sum over k of D[k] Q(i,k) Q(j,k): Q diag(D) Q' for the Q of a
/// plain decomposition.
QZ4_API void metric_from_eigen_pairs(const vector_fixed<double, 2>& D,
                                     const matrix_fixed<double, 2, 2>& Q, metric2& M);
QZ4_API void metric_from_eigen_pairs(const vector_fixed<double, 3>& D,
                                     const matrix_fixed<double, 3, 3>& Q, metric3& M);

/// The squared length d' M d of the segment d in the tensor M.
QZ4_API double metric_norm2(const metric2& M, const vector_fixed<double, 2>& d);
QZ4_API double metric_norm2(const metric3& M, const vector_fixed<double, 3>& d);

// ---------------------------------------------------------------------------
// Validity, bounds and repair. Fields are written in place, in index order.
// ---------------------------------------------------------------------------

/// True when the smallest eigenvalue is strictly above 0, with no tolerance
/// and no test of the entries otherwise (a tensor of non-numbers is refused).
QZ4_API bool is_valid_metric(const metric2& M);
QZ4_API bool is_valid_metric(const metric3& M);

/// True when every size is finite and above 0 (an empty field is valid).
QZ4_API bool are_valid_metrics(const dense1D<double>& H);
/// True when every column is a valid tensor; false for a row count other
/// than 3 or 6, a 0x0 matrix included (3x0 and 6x0 are true).
QZ4_API bool are_valid_metrics(const dense2D<double>& M);
/// True when every listed size is valid; false at an index past the field.
QZ4_API bool are_valid_metrics(const dense1D<unsigned>& indices, const dense1D<double>& H);
/// True when every listed column is valid. An empty M with an empty list is
/// true; otherwise the rows must be 3 or 6 (even for an empty list) and an
/// index past the columns is false.
QZ4_API bool are_valid_metrics(const dense1D<unsigned>& indices, const dense2D<double>& M);

/// Clamps the sizes of a tensor to [h_min, h_max] in every direction: the
/// eigenvalues are clamped to [1/h_max^2, 1/h_min^2] (first from above, then
/// from below, so the size h_max wins when the bounds cross) and the tensor is
/// rebuilt on its eigenvectors. h_min <= 0 sets no lower size bound; h_max <= 0
/// or h_max >= sqrt(DBL_MAX) no upper one. A tensor left unchanged is not
/// rebuilt, bit for bit; one that cannot be decomposed becomes I / h_max^2
/// (the zero tensor without an upper bound).
QZ4_API void bound_metric(metric2& M, double h_min, double h_max);
QZ4_API void bound_metric(metric3& M, double h_min, double h_max);

/// Plain clamp of every size: first up to h_min, then down to h_max, so
/// h_max wins when the bounds cross; no bound is special (h_max <= 0 drives
/// every size to it), non-numbers stay. Status: 0.
QZ4_API int bound_metrics(dense1D<double>& H, double h_min, double h_max);

/// bound_metric on every column of a tensor field.
/// Status, in this order: 0 for an empty matrix; 0 with M unchanged when both
/// bounds are strictly negative; -1 when M has neither 3 nor 6 rows; 0.
QZ4_API int bound_metrics(dense2D<double>& M, double h_min, double h_max);

/// Replaces every size <= 0 by the reference's when that is above 0, over the
/// common length. Non-numbers and infinities are not replaced. Status: 0.
QZ4_API int overwrite_invalid_metrics(dense1D<double>& H, const dense1D<double>& H_ref);

/// Replaces every invalid tensor by the tensor of the reference size, when
/// that is above 0, over the common length.
/// Status: 0 (also for an empty M, whatever its rows); -1 when M has neither
/// 3 nor 6 rows.
QZ4_API int overwrite_invalid_metrics(dense2D<double>& M, const dense1D<double>& H_ref);

/// Replaces every invalid tensor by the reference's tensor, when that one is
/// valid, over the common length.
/// Status, in this order: 0 for an empty M; -1 when M has neither 3 nor 6
/// rows; -2 when M_ref has neither 3 nor 6 rows or not M's row count.
QZ4_API int overwrite_invalid_metrics(dense2D<double>& M, const dense2D<double>& M_ref);

// ---------------------------------------------------------------------------
// Intersection and projection. The fixed forms allocate nothing; M may be the
// same object as M1 or M2, which are read to the end first.
// ---------------------------------------------------------------------------

/// The tensor of the smaller size in every direction of the common basis of
/// M1 and M2 (the basis of the generalised problem M2 q = D M1 q, in which
/// both are diagonal): the larger of each pair of diagonal entries. When M1
/// is not positive definite (or, in 3D, M2 cannot be factored) the result is
/// the zero tensor; in 2D an indefinite M2 is taken as it is.
QZ4_API void minimum_metric(const metric2& M1, const metric2& M2, metric2& M);
QZ4_API void minimum_metric(const metric3& M1, const metric3& M2, metric3& M);

/// As minimum_metric with the larger size: the smaller of each pair.
QZ4_API void maximum_metric(const metric2& M1, const metric2& M2, metric2& M);
QZ4_API void maximum_metric(const metric3& M1, const metric3& M2, metric3& M);

/// The tensor whose sizes along the common basis are s1 + (s2 - s1) t: sizes
/// blend, not eigenvalues. t within 1e-12 of 0 or 1 copies M1 or M2. False,
/// with M untouched, when a diagonal entry of either tensor in the common
/// basis is not in (0, DBL_MAX).
QZ4_API bool interpolate_metric(double t, const metric2& M1, const metric2& M2, metric2& M);
QZ4_API bool interpolate_metric(double t, const metric3& M1, const metric3& M2, metric3& M);

/// The 2D tensor of size h in the frame B (columns b1, b2, neither unit nor
/// orthogonal): B'B / h^2, the zero tensor for h <= 0 or a non-number.
QZ4_API void metric_iso_to_aniso2d(double h, const matrix_fixed<double, 3, 2>& B, metric2& M);

/// The 3D tensor M3 seen in the frame B: B' M3 B.
QZ4_API void metric_aniso3d_to_aniso2d(const metric3& M3, const matrix_fixed<double, 3, 2>& B,
                                       metric2& M);

/// Fields of the tensors of sizes: M becomes 3 x n (2D) or 6 x n (3D), n the
/// size of H, with 1/h^2 on the diagonal of every column of h > 0 and zeros
/// elsewhere. M is left empty when it could not be allocated.
QZ4_API void metrics_iso_to_aniso2d(const dense1D<double>& H, dense2D<double>& M);
QZ4_API void metrics_iso_to_aniso3d(const dense1D<double>& H, dense2D<double>& M);

/// The field of metric_iso_to_aniso2d over a frame field B (6 rows, one frame
/// per node). Status: 0; -2 when B has not 6 rows or not H's size in columns
/// (M untouched); -199 when M could not be allocated (M empty).
QZ4_API int metrics_iso_to_aniso2d(const dense1D<double>& H, const dense2D<double>& B,
                                   dense2D<double>& M);

/// The field of metric_aniso3d_to_aniso2d. Status, in this order: -1 when M3
/// has not 6 rows; -2 when B has not 6 rows or not M3's column count (M
/// untouched in both cases); -199 when M could not be allocated (M empty); 0.
QZ4_API int metrics_aniso3d_to_aniso2d(const dense2D<double>& M3, const dense2D<double>& B,
                                       dense2D<double>& M);

// ---------------------------------------------------------------------------
// Edge measures in a size field, shared by quality and gradation.
// ---------------------------------------------------------------------------

/// The logarithmic mean (M - m) / ln(M / m) of two sizes, by a series when
/// they are within 0.1% of each other (where ln would cancel); 0 when the
/// smaller is not above 0.
QZ4_API double log_mean_size(double a, double b);

/// The length of a segment of Euclidean length L in a size field going from
/// h1 to h2 along it: L / log_mean_size(h1, h2), DBL_MAX when that mean is 0.
/// With `fold`, a length l > 1 gives 1/l and DBL_MAX gives 0, so 1 is best.
QZ4_API double metric_edge_length(double L, double h1, double h2, bool fold);

/// The length of the segment d between two nodes of tensors M1 and M2, each
/// read as a size along d. r1, r2 receive the quadratic forms d' M1 d and
/// d' M2 d; when both are above 0 they are turned into the sizes at the two
/// ends in units of |d|, and the scalar form gives the result. Otherwise the
/// result is DBL_MAX (0 with `fold`).
QZ4_API double metric_edge_length(const vector_fixed<double, 2>& d, const metric2& M1,
                                  const metric2& M2, bool fold, double& r1, double& r2);
QZ4_API double metric_edge_length(const vector_fixed<double, 3>& d, const metric3& M1,
                                  const metric3& M2, bool fold, double& r1, double& r2);

/// The H-shock of an edge d between sizes h1 and h2: how fast the size varies
/// per unit of metric length, max(h1/h2, h2/h1)^(1/l) - 1 with l the edge's
/// length in the field (written to `l` in every case); DBL_MAX when l is not
/// in (0, DBL_MAX): a zero-length edge or a size not above 0.
QZ4_API double edge_shock(double h1, double h2, const vector_fixed<double, 2>& d, double& l);
QZ4_API double edge_shock(double h1, double h2, const vector_fixed<double, 3>& d, double& l);
/// As above between two tensors, each read as a size along d.
QZ4_API double edge_shock(const metric2& M1, const metric2& M2, const vector_fixed<double, 2>& d,
                          double& l);
QZ4_API double edge_shock(const metric3& M1, const metric3& M2, const vector_fixed<double, 3>& d,
                          double& l);

/// The largest H-shock over the edges of each node. `shocks` is sized to
/// pos.cols(), keeping its entries (a node on no edge keeps what it held, or
/// 0); each edge raises the entries of its two ends. An edge end outside the
/// field, like a size not above 0 or a tensor not positive along the edge,
/// gives DBL_MAX.
///
/// In: `pos` (2 or 3 rows), `connectivity` (2-node edges), `H`. In/out:
/// `shocks`. Status, in this order: 0 for an empty connectivity (`shocks`
/// untouched); -1 when pos has neither 2 nor 3 rows; -2 when check_IDs as
/// ET_EDGE2 against pos.cols() fails; -199 when `shocks` could not grow; 0.
QZ4_API int H_shock(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                    const dense1D<double>& H, dense1D<double>& shocks);
/// As above in a tensor field: 3 rows with 2-row `pos`, 6 with 3-row `pos`
/// (a field of fewer rows has no readable tensor: DBL_MAX everywhere).
QZ4_API int H_shock(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                    const dense2D<double>& M, dense1D<double>& shocks);

// ---------------------------------------------------------------------------
// Gradation.
// ---------------------------------------------------------------------------

/// Lowers the H-shock between nodes that share an element to `max_shock`,
/// in place, by a propagation over the node graph that takes the worst shock
/// first. Without hard nodes, every pair is a seed and sizes only shrink;
/// with hard nodes, only the pairs at a hard node are seeds, the hard sizes
/// never change, and each other node shrinks or grows, as decided the first
/// time it is changed. A step moves the target's size to the value at the
/// limit on a linear law along the edge (a tensor blends towards it in every
/// direction of the common basis). A size not above 0 next to a positive one
/// is filled with it. The result follows from the order of the queue, not
/// from a fixed point: a pair whose smaller end was changed last can stay
/// above the limit. Deterministic for equal inputs, element order included.
///
/// In: `pos` (2 or 3 rows), `connectivity` of kind `type`, `hard_nodes`,
/// `max_shock`. In/out: `H`, one size per node, or `M`, one tensor per node
/// (3 rows with 2-row `pos`, 6 with 3-row `pos`).
/// Status, in this order: -1 when pos has neither 2 nor 3 rows; -2 when
/// check_IDs of `connectivity` as `type` fails; -3 when a hard node is not
/// below pos.cols(); -5 when max_shock <= 0 or is DBL_MAX (a non-number
/// changes nothing); -6 when the field has no more entries than pos has rows,
/// a tensor field has the wrong row count, or the field has fewer entries
/// than the nodes of the mesh; -199 when memory ran out (values already
/// changed stay); otherwise the number of changes made, one node counting
/// at each change.
QZ4_API int bound_metric_gradation(const dense2D<double>& pos,
                                   const dense2D<unsigned>& connectivity, element_type type,
                                   const dense1D<unsigned>& hard_nodes, double max_shock,
                                   dense1D<double>& H);
QZ4_API int bound_metric_gradation(const dense2D<double>& pos,
                                   const dense2D<unsigned>& connectivity, element_type type,
                                   const dense1D<unsigned>& hard_nodes, double max_shock,
                                   dense2D<double>& M);

}  // namespace tessellix
}  // namespace qz4

#endif
