// Index utilities: IDs, renumbering, distinct IDs, matching, bounding boxes.
#include "arrays.h"

namespace qz4py {

namespace tx = qz4::tessellix;

namespace {

// A node count or an ID: 0 to 0xFFFFFFFF, with -1 standing for NO_ID.
unsigned id_arg(long long v, const char* service, const char* name) {
  if (v < -1 || v > 0xFFFFFFFFll)
    refuse(service, name, "not an unsigned 32-bit value or -1 (NO_ID)");
  return unsigned(v);
}

template <unsigned D>
py::tuple box(const in<dense2D<double>>& pos, const fixed& lo, const fixed& hi, py::handle subset) {
  auto bmin = vec<D>(lo), bmax = vec<D>(hi);
  int s;
  const std::initializer_list<fault> table = {
      {-1, "pos", "has not as many coordinates per node as the box"},
      {-2, "subset", "names a node that is not a row of pos"}};
  if (subset.is_none()) {
    s = nogil([&] { return tx::inc_bounding_box(pos.view, bmin, bmax); });
  } else if (ndim_of(subset) == 1) {
    auto ids = index_vector(subset, "subset");
    s = nogil([&] { return tx::inc_bounding_box(pos.view, ids.view, bmin, bmax); });
  } else {
    auto c = index_matrix(subset, "subset");
    s = nogil([&] { return tx::inc_bounding_box(pos.view, c.view, bmin, bmax); });
  }
  check(s, "inc_bounding_box", table);
  return py::make_tuple(values(bmin.data(), D), values(bmax.data(), D));
}

}  // namespace

void bind_core(py::module_& m) {
  m.def(
      "max_ID",
      [](py::handle ids) -> long long {
        if (ndim_of(ids) == 2) {
          auto c = index_matrix(ids, "ids");
          return nogil([&] { return tx::max_ID(c.view); });
        }
        auto v = index_vector(ids, "ids");
        return nogil([&] { return tx::max_ID(v.view); });
      },
      py::arg("ids"),
      R"(Largest ID other than NO_ID in a 1-D list or an (m, k) connectivity.

A list: 0 when every entry is NO_ID or 0, NO_ID when it is empty (so
1 + max_ID is the node count either way). A connectivity: NO_ID when it has
no entry.)");

  m.def(
      "check_IDs",
      [](py::handle ids, py::args rest) -> bool {
        if (rest.size() == 2) {
          auto c = index_matrix(ids, "connectivity");
          const element_type t = kind(rest[0], "type");
          const unsigned n = id_arg(integer(rest[1], "node_count"), "check_IDs", "node_count");
          return nogil([&] { return tx::check_IDs(c.view, t, n); });
        }
        if (rest.size() != 1) throw py::type_error("check_IDs: 2 or 3 arguments are required");
        const unsigned n = id_arg(integer(rest[0], "node_count"), "check_IDs", "node_count");
        if (ndim_of(ids) == 2) {
          auto c = index_matrix(ids, "ids");
          return nogil([&] { return tx::check_IDs(c.view, n); });
        }
        auto v = index_vector(ids, "ids");
        return nogil([&] { return tx::check_IDs(v.view, n); });
      },
      py::arg("ids"),
      R"(check_IDs(ids, node_count) or check_IDs(connectivity, type, node_count).

Two arguments: true when `ids` (a list or a connectivity) is empty,
`node_count` is NO_ID, or every entry is NO_ID or below `node_count`.
Three: checks a connectivity of kind `type`. ET_FACE_MIXED: 3 or 4 columns,
NO_ID allowed in column 3 only; ET_SOLID_MIXED: 4, 5, 6 or 8 columns, a NO_ID
in column 4, 5 or 6 followed by NO_ID to the last; mixed kinds are checked for
shape even with node_count NO_ID. Any other kind: true when node_count is
NO_ID; else the columns must be element_nodes[type] and every entry below
node_count.)");

  m.def(
      "shift_indices",
      [](py::handle ids, int shift, py::object type) {
        if (!type.is_none()) {
          auto c = index_matrix_rw(ids, "connectivity");
          const element_type t = kind(type, "type");
          nogil([&] { return tx::shift_indices(c.view, shift, t); });
          finish_in_place(c, "connectivity");
        } else {
          auto v = index_vector_rw(ids, "ids");
          nogil([&] { return tx::shift_indices(v.view, shift); });
          finish_in_place(v, "ids");
        }
      },
      py::arg("ids"), py::arg("shift"), py::arg("type") = py::none(),
      R"(Adds `shift` to every entry, in place, with 32-bit wrap-around.

A 1-D list: NO_ID entries stay. A connectivity with its `type`: mixed kinds
keep their NO_ID padding; for every other kind each entry is shifted, NO_ID
included.)");

  m.def(
      "change_indices",
      [](py::handle ids, py::handle new_ids) {
        auto map = index_vector(new_ids, "new_ids");
        if (ndim_of(ids) == 2) {
          auto c = index_matrix_rw(ids, "ids");
          nogil([&] { tx::change_indices(c.view, map.view); });
          finish_in_place(c, "ids");
        } else {
          auto v = index_vector_rw(ids, "ids");
          nogil([&] { tx::change_indices(v.view, map.view); });
          finish_in_place(v, "ids");
        }
      },
      py::arg("ids"), py::arg("new_ids"),
      R"(Renumbers a list or a connectivity in place: an entry v below
len(new_ids) becomes new_ids[v]; other entries (NO_ID included) stay.)");

  m.def(
      "permutation",
      [](py::handle values, py::handle perm) {
        auto p = index_vector(perm, "perm");
        if (py::isinstance<py::array_t<double>>(values)) {
          auto v = real_vector_rw(values, "values");
          nogil([&] { tx::permutation(v.view, p.view); });
        } else {
          auto v = index_vector_rw(values, "values");
          nogil([&] { tx::permutation(v.view, p.view); });
        }
      },
      py::arg("values"), py::arg("perm"),
      R"(Scatters `values` (uint32 or float64, in place) through `perm`:
new[perm[i]] = old[i] for i below the smaller size, where perm[i] is a valid
position. Places that no valid perm[i] reaches keep their value.)");

  m.def(
      "unique_indices",
      [](py::handle ids, py::object excluded, py::object out_) {
        auto o = index_vector_rw(out_, "out", true);
        if (is_group(ids)) {
          auto g = index_group(ids, "ids");
          check(nogil([&] { return tx::unique_indices(o.view, g.first(), g.last()); }),
                "unique_indices", {{-3, "ids", "first > last"}});
        } else if (ndim_of(ids) == 2) {
          auto c = index_matrix(ids, "ids");
          nogil([&] { return tx::unique_indices(o.view, c.view); });
        } else {
          auto v = index_vector(ids, "ids");
          if (excluded.is_none()) {
            nogil([&] { return tx::unique_indices(o.view, v.view); });
          } else {
            auto x = index_vector(excluded, "excluded");
            nogil([&] { return tx::unique_indices(o.view, v.view, x.view); });
          }
        }
        return finish(o);
      },
      py::arg("ids"), py::arg("excluded") = py::none(), py::arg("out") = py::none(),
      R"(The distinct IDs of a connectivity, a list of connectivities or a 1-D
list, in order of first appearance (matrix, row, column), NO_ID left out.

`excluded` (lists only) leaves out its members too. `out`, when given, is
kept in front of the new IDs (neither cleared nor searched). Returns the
1-D uint32 array of the IDs.)");

  m.def(
      "count_unique_indices",
      [](py::handle ids) {
        if (is_group(ids)) {
          auto g = index_group(ids, "ids");
          return check(nogil([&] { return tx::count_unique_indices(g.first(), g.last()); }),
                       "count_unique_indices", {{-2, "ids", "first > last"}});
        }
        auto c = index_matrix(ids, "ids");
        return nogil([&] { return tx::count_unique_indices(c.view); });
      },
      py::arg("ids"),
      R"(Number of distinct IDs other than NO_ID in a connectivity or a list of
connectivities.)");

  m.def(
      "get_IDs",
      [](py::handle a, py::handle b, bool exact_order) {
        dense1D<unsigned> b_to_a, a_to_b;
        if (ndim_of(a) == 2 || ndim_of(b) == 2) {
          auto ma = index_matrix(a, "a"), mb = index_matrix(b, "b");
          check(nogil([&] { return tx::get_IDs(ma.view, mb.view, b_to_a, a_to_b, exact_order); }),
                "get_IDs", {{-2, "b", "has not as many columns as a"}});
        } else {
          auto va = index_vector(a, "a"), vb = index_vector(b, "b");
          check(nogil([&] { return tx::get_IDs(va.view, vb.view, b_to_a, a_to_b); }), "get_IDs",
                {});
        }
        return py::make_tuple(out(b_to_a), out(a_to_b));
      },
      py::arg("a"), py::arg("b"), py::arg("exact_order") = true,
      R"(Matches two numberings; returns (b_to_a, a_to_b).

1-D lists: b_to_a[j] is the position in `a` of b[j] (the last one when a value
repeats), a_to_b[i] the last position j of `b` matched to i; unmatched entries
are NO_ID, and NO_ID never matches. Connectivities: rows match when identical,
or with `exact_order` false also up to cyclic rotation and reversal; the first
matching row of `a` wins. ValueError (b) when the column counts differ.)");

  m.def(
      "inc_bounding_box",
      [](py::handle pos, py::handle box_min, py::handle box_max, py::handle subset) {
        auto p = real_matrix(pos, "pos");
        const fixed lo = small(box_min, "box_min", {2, 3});
        const fixed hi = small(box_max, "box_max", {lo.n});
        return lo.n == 2 ? box<2>(p, lo, hi, subset) : box<3>(p, lo, hi, subset);
      },
      py::arg("pos"), py::arg("box_min"), py::arg("box_max"), py::arg("subset") = py::none(),
      R"(Grows the box (box_min, box_max) of 2 or 3 numbers each by every node
of `pos`, or by the nodes of `subset` (a 1-D list of nodes, which must not hold
NO_ID, or a connectivity, padding skipped). Returns the new (box_min,
box_max). Comparisons are strict, so NaN coordinates change nothing.
ValueError: pos (not as many columns as the box), subset (a node that is not a
row of pos).)");
}

}  // namespace qz4py
