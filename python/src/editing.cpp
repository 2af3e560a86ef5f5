// Spatial search and editing: the node detector, merging, clean-up,
// clipping, transforms and copies.
#include <memory>
#include <mutex>
#include <shared_mutex>

#include "arrays.h"

namespace qz4py {

namespace tx = qz4::tessellix;

namespace {

// The coordinates a detector reads through: the library keeps the address of
// the matrix object, so it lives on the heap, beside the array it views.
struct coords {
  in<dense2D<double>> pos;
};

class detector {
 public:
  void reinit(py::handle pos, py::handle nodes) {
    auto next = std::make_unique<coords>(coords{real_matrix(pos, "pos")});
    const dense2D<double>& p = next->pos.view;
    int s;
    if (nodes.is_none()) {
      s = locked([&] { return det_.reinit(p); });
    } else if (is_group(nodes)) {
      auto g = index_group(nodes, "nodes");
      s = locked([&] { return det_.reinit(p, g.first(), g.last()); });
    } else if (ndim_of(nodes) == 2) {
      auto c = index_matrix(nodes, "nodes");
      s = locked([&] { return det_.reinit(p, c.view); });
    } else {
      auto v = index_vector(nodes, "nodes");
      s = locked([&] { return det_.reinit(p, v.view); });
    }
    // The detector reads the new matrix only when it took it.
    if (s == 0 || nodes.is_none()) pos_ = std::move(next);
    check(s, "node_detector.reinit",
          {{-1, "pos", "has neither 2 nor 3 columns"},
           {-2, "nodes", "an index is neither NO_ID nor a row of pos"},
           {-3, "nodes", "first > last"}});
  }

  unsigned long insert(py::handle nodes) {
    if (ndim_of(nodes) == 2) {
      auto c = index_matrix(nodes, "nodes");
      return locked([&] { return det_.insert(c.view); });
    }
    auto v = index_vector(nodes, "nodes");
    return locked([&] { return det_.insert(v.view); });
  }

  unsigned long size() {
    return shared([&] { return det_.size(); });
  }

  void clear() {
    locked([&] {
      det_.clear();
      return 0;
    });
  }

  unsigned long find_closest(py::handle point) {
    if (ndim_of(point) == 0) {
      const long long node = integer(point, "point");
      if (node < 0 || node > 0xFFFFFFFFll) return qz4::NO_ID;
      return shared([&] { return det_.find_closest(unsigned(node)); });
    }
    const fixed f = small(point, "point", {2, 3});
    if (f.n == 2) {
      const auto p = vec<2>(f);
      return shared([&] { return det_.find_closest(p); });
    }
    const auto p = vec<3>(f);
    return shared([&] { return det_.find_closest(p); });
  }

  py::object find_in_box(py::handle lo, py::handle hi, py::object found) {
    const fixed a = small(lo, "lo", {2, 3}), b = small(hi, "hi", {a.n});
    auto f = index_vector_rw(found, "found", true);
    // find_in_box writes the detector's box fields: one call at a time.
    locked([&] {
      if (a.n == 2)
        det_.find_in_box(vec<2>(a), vec<2>(b), f.view);
      else
        det_.find_in_box(vec<3>(a), vec<3>(b), f.view);
      return 0;
    });
    return finish(f);
  }

 private:
  template <class F>
  auto locked(F&& f) -> decltype(f()) {
    py::gil_scoped_release release;
    std::unique_lock<std::shared_mutex> lock(mutex_);
    return f();
  }
  template <class F>
  auto shared(F&& f) -> decltype(f()) {
    py::gil_scoped_release release;
    std::shared_lock<std::shared_mutex> lock(mutex_);
    return f();
  }

  std::unique_ptr<coords> pos_;
  tx::node_detector det_;
  std::shared_mutex mutex_;
};

// ---------------------------------------------------------------------------

const std::initializer_list<fault> range_merge = {
    {-1, "pos", "has neither 2 nor 3 columns"},
    {-2, "connectivity", "a node is not a row of pos"},
    {-3, "connectivity", "first > last"},
    {-5, "tolerance", "below 0"},
    {-6, "merge_type", "above 2"}};

// The arguments of merge after `pos`, positional or by keyword.
struct merge_args {
  std::vector<py::handle> rest;
  py::handle tolerance, merge_type;
  double tol(std::size_t at, bool required) const {
    if (at < rest.size()) return real(rest[at], "tolerance");
    if (tolerance) return real(tolerance, "tolerance");
    if (required) throw py::type_error("merge: tolerance is required");
    return 1e-6;
  }
  unsigned type(std::size_t at) const {
    py::handle h = at < rest.size() ? rest[at] : merge_type;
    if (!h) return 0;
    const long long v = integer(h, "merge_type");
    if (v < 0 || v > 0xFFFFFFFFll) refuse("merge", "merge_type", "not 0, 1 or 2");
    return unsigned(v);
  }
};

py::object merge(py::handle pos, py::args args, py::kwargs kw) {
  merge_args a;
  for (py::handle h : args) a.rest.push_back(h);
  for (auto item : kw) {
    const std::string k = py::str(item.first);
    if (k == "tolerance")
      a.tolerance = item.second;
    else if (k == "merge_type")
      a.merge_type = item.second;
    else
      throw py::type_error("merge: unexpected keyword argument '" + k + "'");
  }
  dense1D<unsigned> map;
  const int first = a.rest.empty() ? 0 : ndim_of(a.rest[0]);
  if (a.rest.empty() || first == 0) {  // positions
    auto p = real_matrix_rw(pos, "pos");
    const double t = a.tol(0, true);
    const int s = check(nogil([&] { return tx::merge(p.view, map, t); }), "merge",
                        {{-1, "pos", "has neither 2 nor 3 columns"}, {-3, "tolerance", "below 0"}});
    finish_in_place(p, "pos");
    return py::make_tuple(s, out(map));
  }
  auto p = real_matrix(pos, "pos");
  if (is_group(a.rest[0])) {
    auto g = index_group_rw(a.rest[0], "connectivity");
    const double t = a.tol(1, false);
    const unsigned mt = a.type(2);
    const int s = check(nogil([&] { return tx::merge(p.view, g.first(), g.last(), map, t, mt); }),
                        "merge", range_merge);
    g.finish("connectivity");
    return py::make_tuple(s, out(map));
  }
  const bool two = a.rest.size() > 1 && ndim_of(a.rest[1]) == first;
  if (first == 1) {
    auto i1 = index_vector(a.rest[0], two ? "indices1" : "indices");
    const double t = a.tol(two ? 2 : 1, true);
    int s;
    if (two) {
      auto i2 = index_vector(a.rest[1], "indices2");
      s = nogil([&] { return tx::merge(p.view, i1.view, i2.view, map, t); });
    } else {
      s = nogil([&] { return tx::merge(p.view, i1.view, map, t); });
    }
    check(s, "merge",
          {{-1, "pos", "has neither 2 nor 3 columns"},
           {-2, two ? "indices1" : "indices", "holds an index beyond the rows of pos"},
           {-3, "indices2", "holds an index beyond the rows of pos"},
           {-4, "tolerance", "below 0"}});
    return py::make_tuple(s, out(map));
  }
  auto c1 = index_matrix_rw(a.rest[0], two ? "connectivity1" : "connectivity");
  const double t = a.tol(two ? 2 : 1, false);
  const unsigned mt = a.type(two ? 3 : 2);
  int s;
  if (two) {
    auto c2 = index_matrix_rw(a.rest[1], "connectivity2");
    s = check(nogil([&] { return tx::merge(p.view, c1.view, c2.view, map, t, mt); }), "merge",
              range_merge);
    finish_in_place(c2, "connectivity2");
  } else {
    s = check(nogil([&] { return tx::merge(p.view, c1.view, map, t, mt); }), "merge", range_merge);
  }
  finish_in_place(c1, "connectivity1");
  return py::make_tuple(s, out(map));
}

// Nodes that a service takes on trust must be rows of pos.
void rows_of(const char* service, const char* name, const dense2D<unsigned>& c, unsigned n,
             bool padding) {
  for (unsigned j = 0; j < c.cols(); ++j)
    for (unsigned r = 0; r < c.rows(); ++r)
      if (c(r, j) >= n && !(padding && c(r, j) == qz4::NO_ID))
        refuse(service, name, "names node " + std::to_string(c(r, j)) + ", not a row of pos");
}

// Runs a transform on all nodes of pos, or on a subset (1-D list or
// connectivity), and returns its count.
template <class All, class List, class Conn>
int transform(const char* service, py::handle pos, py::handle subset, bool trusted, All all,
              List list, Conn conn) {
  auto p = real_matrix_rw(pos, "pos");
  int s;
  if (subset.is_none()) {
    s = nogil([&] { return all(p.view); });
  } else if (ndim_of(subset) == 2) {
    auto c = index_matrix(subset, "subset");
    if (!trusted) rows_of(service, "subset", c.view, p.view.cols(), true);
    s = nogil([&] { return conn(p.view, c.view); });
  } else {
    auto v = index_vector(subset, "subset");
    if (!trusted)
      for (unsigned i = 0; i < v.view.size(); ++i)
        if (v.view[i] >= p.view.cols())
          refuse(service, "subset",
                 "names node " + std::to_string(v.view[i]) + ", not a row of pos");
    s = nogil([&] { return list(p.view, v.view); });
  }
  finish_in_place(p, "pos");
  return s;
}

template <unsigned D>
int translate(py::handle pos, const fixed& t, py::handle subset) {
  const auto v = vec<D>(t);
  return transform(
      "translate", pos, subset, true, [&](dense2D<double>& p) { return tx::translate(p, v); },
      [&](dense2D<double>& p, const dense1D<unsigned>& i) { return tx::translate(p, v, i); },
      [&](dense2D<double>& p, const dense2D<unsigned>& c) { return tx::translate(p, v, c); });
}

template <unsigned D>
int zoom(py::handle pos, const fixed& center, double f, py::handle subset) {
  const auto c = vec<D>(center);
  return transform(
      "zoom", pos, subset, false, [&](dense2D<double>& p) { return tx::zoom(p, c, f); },
      [&](dense2D<double>& p, const dense1D<unsigned>& i) { return tx::zoom(p, c, f, i); },
      [&](dense2D<double>& p, const dense2D<unsigned>& k) { return tx::zoom(p, c, f, k); });
}

int rotate(py::handle pos, py::handle center, py::handle rotation, py::handle subset) {
  const fixed c = small(center, "center", {2, 3});
  if (c.n == 2) {
    const auto c2 = vec<2>(c);
    const double a = real(rotation, "rotation");
    return transform(
        "rotate", pos, subset, true, [&](dense2D<double>& p) { return tx::rotate(p, c2, a); },
        [&](dense2D<double>& p, const dense1D<unsigned>& i) { return tx::rotate(p, c2, a, i); },
        [&](dense2D<double>& p, const dense2D<unsigned>& k) { return tx::rotate(p, c2, a, k); });
  }
  const auto c3 = vec<3>(c), r = vec<3>(small(rotation, "rotation", {3}));
  return transform(
      "rotate", pos, subset, true, [&](dense2D<double>& p) { return tx::rotate(p, c3, r); },
      [&](dense2D<double>& p, const dense1D<unsigned>& i) { return tx::rotate(p, c3, r, i); },
      [&](dense2D<double>& p, const dense2D<unsigned>& k) { return tx::rotate(p, c3, r, k); });
}

py::tuple copy_mesh(py::handle pos, py::handle source, py::handle t, py::handle center,
                    py::handle rotation, py::handle n, py::handle copies) {
  auto p = real_matrix_rw(pos, "pos");
  auto c = index_matrix_rw(copies, "copies", true);
  const bool same = !copies.is_none() && copies.is(source);
  in<dense2D<unsigned>> src;
  if (!same) src = index_matrix(source, "source");
  const dense2D<unsigned>& s = same ? c.view : src.view;
  rows_of("copy_mesh", "source", s, p.view.cols(), true);
  int status;
  if (t.is_none() && center.is_none() && rotation.is_none() && n.is_none()) {
    status = nogil([&] { return tx::copy_mesh(p.view, c.view, s); });
  } else {
    const fixed tf = small(t, "t", {2, 3}), cf = small(center, "center", {tf.n});
    const long long k = integer(n, "n");
    if (k < 0 || k > 0xFFFFFFFFll) refuse("copy_mesh", "n", "not a count");
    if (tf.n == 2) {
      const double a = real(rotation, "rotation");
      status = nogil(
          [&] { return tx::copy_mesh(p.view, c.view, vec<2>(tf), vec<2>(cf), a, unsigned(k), s); });
    } else {
      const auto r = vec<3>(small(rotation, "rotation", {3}));
      status = nogil(
          [&] { return tx::copy_mesh(p.view, c.view, vec<3>(tf), vec<3>(cf), r, unsigned(k), s); });
    }
  }
  check(status, "copy_mesh", {});
  return py::make_tuple(finish(p), finish(c));
}

}  // namespace

void bind_editing(py::module_& m) {
  py::class_<detector>(m, "node_detector", R"(A k-d tree over the rows of an (n, 2) or
(n, 3) coordinate array: which node is closest to a point, which nodes lie in
a box.

node_detector(pos, nodes=None) builds the tree as reinit does. The detector
reads the coordinates through the array at every call, so it sees later
changes of a float64 array with contiguous rows (any other array is copied
once); a node moved across the split plane of an entry above it may be
missed: reinit after such moves. Searches are deterministic (the tree is built
in an order fixed by a seeded shuffle). Methods may be called from several
threads; each call holds the detector.)")
      .def(py::init([](py::object pos, py::object nodes) {
             auto d = std::make_unique<detector>();
             if (!pos.is_none()) d->reinit(pos, nodes);
             return d;
           }),
           py::arg("pos") = py::none(), py::arg("nodes") = py::none())
      .def("reinit", &detector::reinit, py::arg("pos"), py::arg("nodes") = py::none(),
           R"(Builds a tree on all rows of `pos`, or on the nodes of `nodes`: a 1-D
list, a connectivity or a list of connectivities (their distinct nodes), in a
shuffled order. ValueError: pos (neither 2 nor 3 columns; the detector is then
empty), nodes (an index neither NO_ID nor a row of pos; the old tree stays).)")
      .def("insert", &detector::insert, py::arg("nodes"),
           R"(Adds the nodes of a 1-D list or of a connectivity (its distinct
nodes) to the tree; nodes that are not rows of the coordinates are refused.
Returns the number of entries added (0 with no tree).)")
      .def("size", &detector::size, "Number of tree entries (a node inserted twice counts twice).")
      .def("__len__", &detector::size)
      .def("clear", &detector::clear, "Deletes the tree: the detector is empty again.")
      .def("find_closest", &detector::find_closest, py::arg("point"),
           R"(The node closest to `point` (2 or 3 numbers; a 2D point on a 3D tree
has z = 0, a 3D point on a 2D tree loses z), or, given a node number, the
node closest to that node other than itself. NO_ID when there is no answer.)")
      .def("find_in_box", &detector::find_in_box, py::arg("lo"), py::arg("hi"),
           py::arg("found") = py::none(),
           R"(Every entry inside the closed box [lo, hi], in the tree's pre-order,
lower side first, appended to `found` when given. Returns a 1-D uint32 array.)");

  m.def("merge", &merge, py::arg("pos"),
        R"(Merges nodes within `tolerance` (absolute, inclusive) of each other.

merge(pos, tolerance): all nodes; each merged row of pos (a writable float64
array) is moved onto its survivor, in place.
merge(pos, indices, tolerance) and merge(pos, indices1, indices2, tolerance):
nodes of the lists; with two lists, nodes of indices1 are mapped onto nodes of
indices2.
merge(pos, connectivity, tolerance=1e-6, merge_type=0), also with a list of
connectivities or two connectivities: the nodes of the connectivities, which
are rewritten through the map in place (writable uint32 arrays). merge_type 0
merges any two nodes, 1 only two nodes of one element in one pass, 2 repeats
such passes until one merges nothing.
Returns (count, node_map): the number of nodes mapped away, and one entry per
row of pos: i for a survivor or a node not considered, else the survivor.
ValueError: pos, indices, indices1, indices2, connectivity, tolerance,
merge_type, as the status table of each form.)");

  m.def(
      "simplify",
      [](py::handle pos, py::handle connectivity, long long min_index) {
        auto p = real_matrix_rw(pos, "pos");
        if (min_index < 0 || min_index > 0xFFFFFFFFll)
          refuse("simplify", "min_index", "not a node number");
        dense1D<unsigned> map;
        const std::initializer_list<fault> table = {
            {-2, "connectivity", "names a node beyond the rows of pos"},
            {-3, "connectivity", "last < first"}};
        int s;
        if (is_group(connectivity)) {
          auto g = index_group_rw(connectivity, "connectivity");
          s = check(nogil([&] {
                      return tx::simplify(p.view, g.first(), g.last(), map, unsigned(min_index));
                    }),
                    "simplify", table);
          g.finish("connectivity");
        } else {
          auto c = index_matrix_rw(connectivity, "connectivity");
          s = check(nogil([&] { return tx::simplify(p.view, c.view, map, unsigned(min_index)); }),
                    "simplify", table);
          finish_in_place(c, "connectivity");
        }
        return py::make_tuple(s, finish(p), out(map));
      },
      py::arg("pos"), py::arg("connectivity"), py::arg("min_index") = 0,
      R"(Removes the nodes at or above `min_index` that no element of the
connectivity (or list of connectivities) uses, packing the other rows of pos
down in their order within the caller's array, and renumbers the
connectivities in place (NO_ID stays). Returns (count, pos, node_map): the
number of nodes removed, pos as a leading slice of the caller's array, and
the new index of each old node or NO_ID. ValueError: connectivity (a node
beyond the rows of pos; nothing changed).)");

  m.def(
      "remove_degenerated",
      [](py::handle connectivity, bool strict) {
        auto c = index_matrix_rw(connectivity, "connectivity");
        dense1D<unsigned> map;
        const int s = check(nogil([&] { return tx::remove_degenerated(c.view, map, strict); }),
                            "remove_degenerated", {});
        return py::make_tuple(s, finish(c), out(map));
      },
      py::arg("connectivity"), py::arg("strict") = false,
      R"(Removes the elements that name a node twice and packs the others in
their order, in the caller's array. With `strict` false a repeated NO_ID is
padding, not a repeat. Returns (count, connectivity, element_map): the number
removed, the leading slice that holds the elements kept, and the new row of
each old element or NO_ID.)");

  m.def(
      "clip",
      [](py::handle pos, py::handle connectivity, py::handle point, py::handle normal,
         py::object clipped) {
        auto p = real_matrix(pos, "pos");
        auto c = index_matrix(connectivity, "connectivity");
        fixed pt = small(point, "point", {2, 3}), nm = small(normal, "normal", {2, 3});
        if (pt.n == 2) pt.v[2] = 0;
        if (nm.n == 2) nm.v[2] = 0;
        auto k = index_matrix_rw(clipped, "clipped", true);
        check(nogil([&] { return tx::clip(p.view, c.view, vec<3>(pt), vec<3>(nm), k.view); }),
              "clip",
              {{-2, "connectivity", "a node beyond the rows of pos"},
               {-4, "normal", "shorter than 1e-12"},
               {-5, "clipped", "not empty and of another column count"}});
        return finish(k);
      },
      py::arg("pos"), py::arg("connectivity"), py::arg("point"), py::arg("normal"),
      py::arg("clipped") = py::none(),
      R"(The elements whose nodes all lie strictly on the side of the plane
through `point` that `normal` points to (nothing is cut; a node on the plane
is outside; a NO_ID ends an element's nodes), appended to `clipped` when
given. Returns the connectivity of those elements. ValueError: connectivity,
normal (shorter than 1e-12), clipped (another column count).)");

  m.def(
      "translate",
      [](py::handle pos, py::handle t, py::handle subset) {
        const fixed f = small(t, "t", {2, 3});
        return f.n == 2 ? translate<2>(pos, f, subset) : translate<3>(pos, f, subset);
      },
      py::arg("pos"), py::arg("t"), py::arg("subset") = py::none(),
      R"(p := p + t, in place, for all rows of pos (a writable float64 array of
at least len(t) columns), or for the nodes of `subset`: a 1-D list (each
listed node in turn, indices beyond the rows skipped) or a connectivity (each
distinct node once). Returns the number of nodes moved; a zero t returns 0 at
once.)");

  m.def("rotate", &rotate, py::arg("pos"), py::arg("center"), py::arg("rotation"),
        py::arg("subset") = py::none(),
        R"(Rotation in place. A 2D `center` (2 numbers): counter-clockwise by the
angle `rotation` in radians. A 3D `center`: about the axis through it along
the 3-vector `rotation`, by its length in radians. Subsets and the result as
translate.)");

  m.def(
      "zoom",
      [](py::handle pos, py::handle center, double factor, py::handle subset) {
        const fixed c = small(center, "center", {2, 3});
        return c.n == 2 ? zoom<2>(pos, c, factor, subset) : zoom<3>(pos, c, factor, subset);
      },
      py::arg("pos"), py::arg("center"), py::arg("factor"), py::arg("subset") = py::none(),
      R"(p := p + (p - center)(factor - 1), in place: 0 collapses the nodes on
the center, a negative factor mirrors through it. All rows: returns the row
count (0 for factor 1). A subset (whose nodes must be rows of pos, else
ValueError): returns 0.)");

  m.def("copy_mesh", &copy_mesh, py::arg("pos"), py::arg("source"), py::arg("t") = py::none(),
        py::arg("center") = py::none(), py::arg("rotation") = py::none(), py::arg("n") = py::none(),
        py::arg("copies") = py::none(),
        R"(Copies of the elements of `source` on new nodes appended to pos.

copy_mesh(pos, source): one copy. copy_mesh(pos, source, t, center,
rotation, n, copies=None): n copies, copy k rotated by k times `rotation`
(an angle with 2D t and center, a 3-vector in 3D) about `center` and then
translated by k times t, appended to `copies`. New nodes copy the distinct
nodes of source in order of first appearance. Returns (pos, copies) as new
arrays; the caller's arrays keep their values. ValueError: source (a node not
a row of pos).)");

  m.def(
      "copy_sym_mesh",
      [](py::handle pos, py::handle point, py::handle normal, py::handle source) {
        auto p = real_matrix_rw(pos, "pos");
        auto s = index_matrix(source, "source");
        rows_of("copy_sym_mesh", "source", s.view, p.view.cols(), true);
        const fixed pt = small(point, "point", {2, 3}), nm = small(normal, "normal", {pt.n});
        dense2D<unsigned> c;
        const int st = nogil([&] {
          return pt.n == 2 ? tx::copy_sym_mesh(p.view, c, vec<2>(pt), vec<2>(nm), s.view)
                           : tx::copy_sym_mesh(p.view, c, vec<3>(pt), vec<3>(nm), s.view);
        });
        check(st, "copy_sym_mesh", {{-4, "normal", "exactly zero"}});
        return py::make_tuple(finish(p), out(c));
      },
      py::arg("pos"), py::arg("point"), py::arg("normal"), py::arg("source"),
      R"(A mirror copy of `source` through the line (2D) or plane (3D) through
`point` normal to `normal`, on new nodes appended to pos (nodes on the plane
are copied too). Element node order is kept, so the copies have the opposite
orientation. Returns (pos, copy). ValueError: normal (exactly zero), source.)");
}

}  // namespace qz4py
