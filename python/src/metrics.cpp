// Size metrics: tensors and eigen pairs, validity and repair, intersection
// and projection, edge measures, shocks and gradation.
//
// A tensor is its packed upper triangle: 3 numbers (m11, m12, m22) in 2D, 6
// (m11, m12, m22, m13, m23, m33) in 3D. A tensor field is an (n, 3) or (n, 6)
// array, a size field a 1-D array, a frame B an array of shape (3, 2) whose
// columns are the frame's vectors, and a frame field an (n, 6) array of
// frames, b1 then b2 in each row.
#include <cstring>

#include "arrays.h"

namespace qz4py {

namespace tx = qz4::tessellix;
using tx::metric2;
using tx::metric3;

namespace {

// A small matrix given as an array A of shape (rows, cols), column-major.
template <unsigned R, unsigned C>
qz4::matrix_fixed<double, R, C> matrix(py::handle obj, const char* name) {
  auto a = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(obj);
  if (!a || obj.is_none())
    throw py::type_error(std::string(name) + ": an array of numbers is required");
  if (a.ndim() != 2 || a.shape(0) != R || a.shape(1) != C)
    throw py::value_error(std::string(name) + ": shape (" + std::to_string(R) + ", " +
                          std::to_string(C) + ") is required");
  qz4::matrix_fixed<double, R, C> m;
  for (unsigned i = 0; i < R; ++i)
    for (unsigned j = 0; j < C; ++j) m(i, j) = a.at(i, j);
  return m;
}

template <unsigned N>
py::array packed(const qz4::symmetric_fixed<double, N>& M) {
  return values(M.data(), N * (N + 1) / 2);
}

unsigned dim_of(const fixed& f) { return f.n == 3 ? 2 : 3; }

template <unsigned D>
py::tuple eigen(const fixed& a, py::handle b) {
  qz4::vector_fixed<double, D> w;
  qz4::matrix_fixed<double, D, D> q;
  q = 0.0;
  w = 0.0;
  bool ok;
  if (b.is_none()) {
    ok = tx::eigen_pairs(sym<D>(a), w, q);
  } else {
    const fixed bf = small(b, "B", {a.n});
    ok = tx::eigen_pairs(sym<D>(a), sym<D>(bf), w, q);
  }
  return py::make_tuple(ok, values(w.data(), D), square(q.data(), D));
}

template <unsigned D>
py::array from_pairs(const fixed& d, py::handle Q) {
  const auto q = matrix<D, D>(Q, "Q");
  qz4::symmetric_fixed<double, D> M;
  tx::metric_from_eigen_pairs(vec<D>(d), q, M);
  return packed(M);
}

// The tensor services of two tensors that give a third.
template <void (*F2)(const metric2&, const metric2&, metric2&),
          void (*F3)(const metric3&, const metric3&, metric3&)>
py::array pairwise(py::handle M1, py::handle M2) {
  const fixed a = small(M1, "M1", {3, 6}), b = small(M2, "M2", {a.n});
  if (a.n == 3) {
    metric2 M;
    F2(sym<2>(a), sym<2>(b), M);
    return packed(M);
  }
  metric3 M;
  F3(sym<3>(a), sym<3>(b), M);
  return packed(M);
}

const std::initializer_list<fault> shock_table = {
    {-1, "pos", "has neither 2 nor 3 columns"},
    {-2, "connectivity", "not a 2-node edge connectivity of nodes of pos"}};

}  // namespace

void bind_metrics(py::module_& m) {
  m.def(
      "metric_iso_to_aniso",
      [](double h, int dim) {
        if (dim == 2) {
          metric2 M;
          tx::metric_iso_to_aniso(h, M);
          return packed(M);
        }
        if (dim != 3) refuse("metric_iso_to_aniso", "dim", "neither 2 nor 3");
        metric3 M;
        tx::metric_iso_to_aniso(h, M);
        return packed(M);
      },
      py::arg("h"), py::arg("dim") = 3,
      R"(The packed tensor of size h: 1/h^2 on the diagonal. For h <= 0 or a
non-number, the zero tensor, which is_valid_metric refuses.)");

  m.def(
      "sym2_eigen_values",
      [](double a, double b, double c) {
        double l1 = 0, l2 = 0;
        const bool ok = tx::sym2_eigen_values(a, b, c, l1, l2);
        return py::make_tuple(ok, l1, l2);
      },
      py::arg("a"), py::arg("b"), py::arg("c"),
      R"(Eigenvalues of the symmetric [a c; c b] (both diagonal entries first):
returns (ok, l1, l2), ok when both are finite.)");

  m.def(
      "sym2_eigen_pairs",
      [](double a, double b, double c) {
        double l1 = 0, l2 = 0;
        qz4::vector_fixed<double, 2> u1, u2;
        u1 = 0.0;
        u2 = 0.0;
        const bool ok = tx::sym2_eigen_pairs(a, b, c, l1, l2, u1, u2);
        return py::make_tuple(ok, l1, l2, values(u1.data(), 2), values(u2.data(), 2));
      },
      py::arg("a"), py::arg("b"), py::arg("c"),
      R"(As sym2_eigen_values with unit eigenvectors: returns (ok, l1, l2, u1,
u2), u2 being u1 turned a quarter turn (zeros when not ok).)");

  m.def(
      "sym3_eigen_values",
      [](py::handle M) {
        const fixed f = small(M, "M", {6});
        qz4::vector_fixed<double, 3> w;
        w = 0.0;
        const bool ok = nogil([&] { return tx::sym3_eigen_values(sym<3>(f), w); });
        return py::make_tuple(ok, values(w.data(), 3));
      },
      py::arg("M"), "Ascending eigenvalues of a packed 3D tensor (LAPACK dspev): (ok, w).");

  m.def(
      "sym3_eigen_pairs",
      [](py::handle M) {
        const fixed f = small(M, "M", {6});
        qz4::vector_fixed<double, 3> w;
        qz4::matrix_fixed<double, 3, 3> z;
        w = 0.0;
        z = 0.0;
        const bool ok = nogil([&] { return tx::sym3_eigen_pairs(sym<3>(f), w, z); });
        return py::make_tuple(ok, values(w.data(), 3), square(z.data(), 3));
      },
      py::arg("M"),
      "As sym3_eigen_values with the orthonormal eigenvectors as columns of Z: (ok, w, Z).");

  m.def(
      "eigen_pairs",
      [](py::handle A, py::handle B) {
        const fixed a = small(A, "M", {3, 6});
        return a.n == 3 ? eigen<2>(a, B) : eigen<3>(a, B);
      },
      py::arg("M"), py::arg("B") = py::none(),
      R"(eigen_pairs(M) -> (ok, D, Q): M q = D q, eigenvalues ascending, the
eigenvector of D[k] being Q[:, k]. 2D: closed form (when not ok D is written
and Q is zero); 3D: LAPACK dspev.
eigen_pairs(A, B) -> (ok, D, Q): the generalised problem B q = D A q, through
the Cholesky factor of A, eigenvectors scaled to unit length; not ok when A is
not positive definite.)");

  m.def(
      "metric_from_eigen_pairs",
      [](py::handle D, py::handle Q) {
        const fixed d = small(D, "D", {2, 3});
        return d.n == 2 ? from_pairs<2>(d, Q) : from_pairs<3>(d, Q);
      },
      py::arg("D"), py::arg("Q"),
      "The packed tensor Q diag(D) Q' (Q of shape (d, d), eigenvectors as columns).");

  m.def(
      "metric_norm2",
      [](py::handle M, py::handle d) {
        const fixed f = small(M, "M", {3, 6}), v = small(d, "d", {dim_of(f)});
        return f.n == 3 ? tx::metric_norm2(sym<2>(f), vec<2>(v))
                        : tx::metric_norm2(sym<3>(f), vec<3>(v));
      },
      py::arg("M"), py::arg("d"), "The squared length d' M d of the segment d in the tensor M.");

  m.def(
      "is_valid_metric",
      [](py::handle M) {
        const fixed f = small(M, "M", {3, 6});
        return f.n == 3 ? tx::is_valid_metric(sym<2>(f)) : tx::is_valid_metric(sym<3>(f));
      },
      py::arg("M"), "True when the smallest eigenvalue of the packed tensor is strictly above 0.");

  m.def(
      "are_valid_metrics",
      [](py::handle field, py::handle indices) {
        const bool sizes = ndim_of(field) == 1;
        if (indices.is_none()) {
          if (sizes) {
            auto h = real_vector(field, "field");
            return nogil([&] { return tx::are_valid_metrics(h.view); });
          }
          auto M = real_matrix(field, "field");
          return nogil([&] { return tx::are_valid_metrics(M.view); });
        }
        auto ids = index_vector(indices, "indices");
        if (sizes) {
          auto h = real_vector(field, "field");
          return nogil([&] { return tx::are_valid_metrics(ids.view, h.view); });
        }
        auto M = real_matrix(field, "field");
        return nogil([&] { return tx::are_valid_metrics(ids.view, M.view); });
      },
      py::arg("field"), py::arg("indices") = py::none(),
      R"(True when every size of a 1-D field is finite and above 0, or every
tensor of an (n, 3) or (n, 6) field is valid (false for other column counts);
with `indices`, only the listed entries (false at an index past the field).)");

  m.def(
      "bound_metric",
      [](py::handle M, double h_min, double h_max) {
        const fixed f = small(M, "M", {3, 6});
        if (f.n == 3) {
          metric2 t = sym<2>(f);
          tx::bound_metric(t, h_min, h_max);
          return packed(t);
        }
        metric3 t = sym<3>(f);
        tx::bound_metric(t, h_min, h_max);
        return packed(t);
      },
      py::arg("M"), py::arg("h_min"), py::arg("h_max"),
      R"(The tensor with its sizes clamped to [h_min, h_max] in every direction
(h_max wins when the bounds cross; h_min <= 0 sets no lower bound, h_max <= 0
no upper one). A tensor that cannot be decomposed becomes I / h_max^2.)");

  m.def(
      "bound_metrics",
      [](py::handle field, double h_min, double h_max) {
        if (ndim_of(field) == 1) {
          auto h = real_vector_rw(field, "field");
          nogil([&] { return tx::bound_metrics(h.view, h_min, h_max); });
          return;
        }
        auto M = real_matrix_rw(field, "field");
        check(nogil([&] { return tx::bound_metrics(M.view, h_min, h_max); }), "bound_metrics",
              {{-1, "field", "has neither 3 nor 6 columns"}});
      },
      py::arg("field"), py::arg("h_min"), py::arg("h_max"),
      R"(Bounds a field in place. Sizes: plain clamp, up to h_min then down to
h_max (no bound is special, non-numbers stay). Tensors: bound_metric on every
row; nothing changes when both bounds are strictly negative.)");

  m.def(
      "overwrite_invalid_metrics",
      [](py::handle field, py::handle reference) {
        const bool ref_sizes = ndim_of(reference) == 1;
        if (ndim_of(field) == 1) {
          auto h = real_vector_rw(field, "field");
          auto r = real_vector(reference, "reference");
          nogil([&] { return tx::overwrite_invalid_metrics(h.view, r.view); });
          return;
        }
        auto M = real_matrix_rw(field, "field");
        int s;
        if (ref_sizes) {
          auto r = real_vector(reference, "reference");
          s = nogil([&] { return tx::overwrite_invalid_metrics(M.view, r.view); });
        } else {
          auto r = real_matrix(reference, "reference");
          s = nogil([&] { return tx::overwrite_invalid_metrics(M.view, r.view); });
        }
        check(s, "overwrite_invalid_metrics",
              {{-1, "field", "has neither 3 nor 6 columns"},
               {-2, "reference", "has neither 3 nor 6 columns, or not as many as field"}});
      },
      py::arg("field"), py::arg("reference"),
      R"(Replaces in place, over the common length, every invalid size (<= 0)
or tensor of `field` by the reference's: a size (a tensor field then gets the
tensor of that size) when above 0, a tensor when valid.)");

  m.def("minimum_metric", &pairwise<tx::minimum_metric, tx::minimum_metric>, py::arg("M1"),
        py::arg("M2"),
        R"(The tensor of the smaller size in every direction of the common basis of
M1 and M2; the zero tensor when M1 is not positive definite.)");
  m.def("maximum_metric", &pairwise<tx::maximum_metric, tx::maximum_metric>, py::arg("M1"),
        py::arg("M2"), "As minimum_metric with the larger size.");

  m.def(
      "interpolate_metric",
      [](double t, py::handle M1, py::handle M2) {
        const fixed a = small(M1, "M1", {3, 6}), b = small(M2, "M2", {a.n});
        if (a.n == 3) {
          metric2 M = sym<2>(a);
          const bool ok = tx::interpolate_metric(t, sym<2>(a), sym<2>(b), M);
          return py::make_tuple(ok, packed(M));
        }
        metric3 M = sym<3>(a);
        const bool ok = tx::interpolate_metric(t, sym<3>(a), sym<3>(b), M);
        return py::make_tuple(ok, packed(M));
      },
      py::arg("t"), py::arg("M1"), py::arg("M2"),
      R"(The tensor whose sizes along the common basis are s1 + (s2 - s1) t:
returns (ok, M); not ok (M then equals M1) when a diagonal entry in the common
basis is not in (0, DBL_MAX).)");

  m.def(
      "metric_iso_to_aniso2d",
      [](double h, py::handle B) {
        metric2 M;
        tx::metric_iso_to_aniso2d(h, matrix<3, 2>(B, "B"), M);
        return packed(M);
      },
      py::arg("h"), py::arg("B"), "The 2D tensor of size h in the frame B (3, 2): B'B / h^2.");

  m.def(
      "metric_aniso3d_to_aniso2d",
      [](py::handle M3, py::handle B) {
        metric2 M;
        tx::metric_aniso3d_to_aniso2d(sym<3>(small(M3, "M3", {6})), matrix<3, 2>(B, "B"), M);
        return packed(M);
      },
      py::arg("M3"), py::arg("B"), "The 3D tensor M3 seen in the frame B (3, 2): B' M3 B.");

  m.def(
      "metrics_iso_to_aniso2d",
      [](py::handle H, py::handle B) {
        auto h = real_vector(H, "H");
        dense2D<double> M;
        if (B.is_none()) {
          nogil([&] { tx::metrics_iso_to_aniso2d(h.view, M); });
          if (M.empty() && !h.view.empty()) check(-199, "metrics_iso_to_aniso2d", {});
        } else {
          auto b = real_matrix(B, "B");
          check(nogil([&] { return tx::metrics_iso_to_aniso2d(h.view, b.view, M); }),
                "metrics_iso_to_aniso2d", {{-2, "B", "not 6 columns, or not one frame per size"}});
        }
        return out(M);
      },
      py::arg("H"), py::arg("B") = py::none(),
      R"(The (n, 3) field of the tensors of the sizes H (zero rows for sizes not
above 0), or with a frame field B (n, 6) the field of metric_iso_to_aniso2d.)");

  m.def(
      "metrics_iso_to_aniso3d",
      [](py::handle H) {
        auto h = real_vector(H, "H");
        dense2D<double> M;
        nogil([&] { tx::metrics_iso_to_aniso3d(h.view, M); });
        if (M.empty() && !h.view.empty()) check(-199, "metrics_iso_to_aniso3d", {});
        return out(M);
      },
      py::arg("H"), "The (n, 6) field of the tensors of the sizes H.");

  m.def(
      "metrics_aniso3d_to_aniso2d",
      [](py::handle M3, py::handle B) {
        auto a = real_matrix(M3, "M3");
        auto b = real_matrix(B, "B");
        dense2D<double> M;
        check(nogil([&] { return tx::metrics_aniso3d_to_aniso2d(a.view, b.view, M); }),
              "metrics_aniso3d_to_aniso2d",
              {{-1, "M3", "has not 6 columns"},
               {-2, "B", "not 6 columns, or not one frame per tensor"}});
        return out(M);
      },
      py::arg("M3"), py::arg("B"), "The (n, 3) field of metric_aniso3d_to_aniso2d, row by row.");

  m.def("log_mean_size", &tx::log_mean_size, py::arg("a"), py::arg("b"),
        R"(The logarithmic mean (M - m) / ln(M / m) of two sizes; 0 when the
smaller is not above 0.)");

  m.def(
      "metric_edge_length",
      [](py::handle a, py::handle b, py::handle c, bool fold) -> py::object {
        if (ndim_of(a) == 0)
          return py::float_(
              tx::metric_edge_length(real(a, "L"), real(b, "h1"), real(c, "h2"), fold));
        const fixed d = small(a, "d", {2, 3}), m1 = small(b, "M1", {d.n == 2 ? 3u : 6u}),
                    m2 = small(c, "M2", {m1.n});
        double r1 = 0, r2 = 0;
        const double l =
            d.n == 2 ? tx::metric_edge_length(vec<2>(d), sym<2>(m1), sym<2>(m2), fold, r1, r2)
                     : tx::metric_edge_length(vec<3>(d), sym<3>(m1), sym<3>(m2), fold, r1, r2);
        return py::make_tuple(l, r1, r2);
      },
      py::arg("L"), py::arg("h1"), py::arg("h2"), py::arg("fold") = false,
      R"(metric_edge_length(L, h1, h2, fold=False): the length of a segment of
Euclidean length L in a size field going from h1 to h2 along it (DBL_MAX when
the mean size is 0). metric_edge_length(d, M1, M2, fold=False) -> (length,
r1, r2): the segment d between two tensors, r1 and r2 the quadratic forms
d' M d. With fold, a length l > 1 gives 1/l and DBL_MAX gives 0.)");

  m.def(
      "edge_shock",
      [](py::handle a, py::handle b, py::handle d) {
        double l = 0, s;
        if (ndim_of(a) == 0) {
          const double h1 = real(a, "h1"), h2 = real(b, "h2");
          const fixed v = small(d, "d", {2, 3});
          s = v.n == 2 ? tx::edge_shock(h1, h2, vec<2>(v), l)
                       : tx::edge_shock(h1, h2, vec<3>(v), l);
        } else {
          const fixed m1 = small(a, "M1", {3, 6}), m2 = small(b, "M2", {m1.n}),
                      v = small(d, "d", {dim_of(m1)});
          s = v.n == 2 ? tx::edge_shock(sym<2>(m1), sym<2>(m2), vec<2>(v), l)
                       : tx::edge_shock(sym<3>(m1), sym<3>(m2), vec<3>(v), l);
        }
        return py::make_tuple(s, l);
      },
      py::arg("h1"), py::arg("h2"), py::arg("d"),
      R"(The H-shock of an edge d between sizes h1 and h2, or between packed
tensors M1 and M2 read as sizes along d: returns (shock, l), l the edge's
length in the field; the shock is max(h1/h2, h2/h1)^(1/l) - 1, DBL_MAX when
l is not in (0, DBL_MAX).)");

  m.def(
      "H_shock",
      [](py::handle pos, py::handle connectivity, py::handle field, py::object shocks) {
        auto p = real_matrix(pos, "pos");
        auto c = index_matrix(connectivity, "connectivity");
        auto s = real_vector_rw(shocks, "shocks", true);
        int st;
        if (ndim_of(field) == 1) {
          auto h = real_vector(field, "field");
          st = nogil([&] { return tx::H_shock(p.view, c.view, h.view, s.view); });
        } else {
          auto M = real_matrix(field, "field");
          st = nogil([&] { return tx::H_shock(p.view, c.view, M.view, s.view); });
        }
        check(st, "H_shock", shock_table);
        return finish(s);
      },
      py::arg("pos"), py::arg("connectivity"), py::arg("field"), py::arg("shocks") = py::none(),
      R"(The largest H-shock over the edges (an (m, 2) connectivity) of each
node, in a size field (1-D) or a tensor field ((n, 3) with 2D pos, (n, 6) with
3D pos). Returns one value per row of pos; `shocks`, when given, keeps its
entries where no edge raises them. An edge end outside the field, a size not
above 0 or a tensor not positive along the edge gives DBL_MAX. ValueError:
pos, connectivity.)");

  m.def(
      "bound_metric_gradation",
      [](py::handle pos, py::handle connectivity, py::handle type, py::handle hard_nodes,
         double max_shock, py::handle field) {
        auto p = real_matrix(pos, "pos");
        auto c = index_matrix(connectivity, "connectivity");
        const element_type t = kind(type, "type");
        in<dense1D<unsigned>> hard;
        if (!hard_nodes.is_none()) hard = index_vector(hard_nodes, "hard_nodes");
        const std::initializer_list<fault> table = {
            {-1, "pos", "has neither 2 nor 3 columns"},
            {-2, "connectivity", "does not pass check_IDs as its type against the rows of pos"},
            {-3, "hard_nodes", "a node is not a row of pos"},
            {-5, "max_shock", "not above 0, or DBL_MAX"},
            {-6, "field", "too few entries, or a tensor field of the wrong column count"}};
        if (ndim_of(field) == 1) {
          auto h = real_vector_rw(field, "field");
          return check(nogil([&] {
                         return tx::bound_metric_gradation(p.view, c.view, t, hard.view, max_shock,
                                                           h.view);
                       }),
                       "bound_metric_gradation", table);
        }
        auto M = real_matrix_rw(field, "field");
        return check(nogil([&] {
                       return tx::bound_metric_gradation(p.view, c.view, t, hard.view, max_shock,
                                                         M.view);
                     }),
                     "bound_metric_gradation", table);
      },
      py::arg("pos"), py::arg("connectivity"), py::arg("type"), py::arg("hard_nodes"),
      py::arg("max_shock"), py::arg("field"),
      R"(Lowers the H-shock between nodes that share an element to max_shock,
in place in `field` (a writable float64 size field or tensor field), by a
propagation over the node graph that takes the worst shock first. Without
hard nodes (None or empty) sizes only shrink; hard nodes keep their sizes and
seed the propagation. Returns the number of changes made. ValueError: pos,
connectivity, hard_nodes, max_shock, field.)");
}

}  // namespace qz4py
