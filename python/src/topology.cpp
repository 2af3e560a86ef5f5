// Topology: incidence, neighbours, boundaries and edges, subdomains, sorting.
#include "arrays.h"

namespace qz4py {

namespace tx = qz4::tessellix;

namespace {

const std::initializer_list<fault> kind_table = {
    {-1, "connectivity", "its shape or padding does not fit the kind"},
    {-2, "type",
     "kind not served (ET_EDGE2, ET_TRIA3, ET_QUAD4, ET_FACE_MIXED, ET_TETRA4, "
     "ET_PYRA5, ET_PENTA6, ET_HEXA8, ET_SOLID_MIXED are)"}};

bool served(element_type t) {
  switch (t) {
    case qz4::ET_EDGE2:
    case qz4::ET_TRIA3:
    case qz4::ET_QUAD4:
    case qz4::ET_FACE_MIXED:
    case qz4::ET_TETRA4:
    case qz4::ET_PYRA5:
    case qz4::ET_PENTA6:
    case qz4::ET_HEXA8:
    case qz4::ET_SOLID_MIXED:
      return true;
    default:
      return false;
  }
}

// An entry equal to the column count names no element, and the walk of the
// subdomains would read past the matrices with it.
void check_neighbors(const dense2D<unsigned>& nb) {
  const unsigned n = nb.cols();
  for (unsigned j = 0; j < n; ++j)
    for (unsigned r = 0; r < nb.rows(); ++r)
      if (nb(r, j) == n)
        refuse("get_subdomains", "neighbors",
               "entry " + std::to_string(n) + " names no element (NO_ID marks none)");
}

py::tuple index_pair(const char* service,
                     int (*f)(const dense2D<unsigned>&, dense1D<unsigned>&, dense1D<unsigned>&),
                     py::handle connectivity) {
  auto c = index_matrix(connectivity, "connectivity");
  dense1D<unsigned> index, second;
  // The index of node 0xFFFFFFFE would need 2^32 entries, a count that
  // wraps to 0 in 32 bits: no block can hold it.
  if (tx::max_ID(c.view) == qz4::NO_ID - 1) check(-199, service, {});
  check(nogil([&] { return f(c.view, index, second); }), service, {});
  return py::make_tuple(out(index), out(second));
}

}  // namespace

void bind_topology(py::module_& m) {
  m.def(
      "get_ancestors",
      [](py::handle connectivity, py::object ancestors) {
        auto c = index_matrix(connectivity, "connectivity");
        auto a = index_vector_rw(ancestors, "ancestors", true);
        check(nogil([&] { return tx::get_ancestors(c.view, a.view); }), "get_ancestors", {});
        return finish(a);
      },
      py::arg("connectivity"), py::arg("ancestors") = py::none(),
      R"(For each node, one element that holds it: the highest row that names
the node wins. Returns the 1-D uint32 array of ancestors.

`ancestors`, when given, is updated rather than replaced (in place when it has
room), so several connectivities can be gathered: IDs at or past its size are
skipped and nodes that no element holds keep their entry. Without it the
result has max_ID + 1 entries, NO_ID for nodes of no element.)");

  m.def(
      "get_connected_elements",
      [](py::handle connectivity) {
        return index_pair("get_connected_elements", tx::get_connected_elements, connectivity);
      },
      py::arg("connectivity"),
      R"(The elements of each node, ascending, in compressed form: returns
(index, elements), the elements of node n being elements[index[n]:index[n+1]]
(max_ID + 2 entries in index). An element that names a node twice is listed
twice for it.)");

  m.def(
      "get_node_graph",
      [](py::handle connectivity) {
        return index_pair("get_node_graph", tx::get_node_graph, connectivity);
      },
      py::arg("connectivity"),
      R"(The nodes sharing an element with each node, in compressed form:
returns (index, neighbors) as get_connected_elements, each node's neighbours
once in order of first meeting (by ascending element, then by column). A node
is never its own neighbour; a quadrangle's diagonal counts as its sides.)");

  m.def(
      "get_neighbors",
      [](py::handle connectivity, py::handle type, bool pair_first_two) {
        auto c = index_matrix(connectivity, "connectivity");
        const element_type t = kind(type, "type");
        dense2D<unsigned> nb;
        check(nogil([&] { return tx::get_neighbors(c.view, t, pair_first_two, nb); }),
              "get_neighbors", kind_table);
        return out(nb);
      },
      py::arg("connectivity"), py::arg("type"), py::arg("pair_first_two") = false,
      R"(For each element and each of its boundaries, the element across it:
an (m, k) uint32 array, k the kind's boundary count, NO_ID on the mesh
boundary. Boundaries match by node sets whatever their orientation. Across a
boundary shared by more than two elements every element keeps NO_ID, or with
`pair_first_two` the two lowest element IDs are linked.
ValueError: connectivity (shape or padding not of the kind), type (not one of
the nine kinds served).)");

  m.def(
      "get_element_boundaries",
      [](py::handle connectivity, py::handle type) {
        auto c = index_matrix(connectivity, "connectivity");
        const element_type t = kind(type, "type");
        dense2D<unsigned> b;
        check(nogil([&] { return tx::get_element_boundaries(c.view, t, b); }),
              "get_element_boundaries", kind_table);
        return out(b);
      },
      py::arg("connectivity"), py::arg("type"),
      R"(Every local boundary of every element as a face or edge
connectivity: boundary b of element e is row e * count + b, with the
element's orientation. ValueError as get_neighbors.)");

  m.def(
      "get_mesh_boundaries",
      [](py::handle connectivity, py::handle neighbors, py::handle type) {
        auto c = index_matrix(connectivity, "connectivity");
        auto nb = index_matrix(neighbors, "neighbors");
        const element_type t = kind(type, "type");
        dense2D<unsigned> b;
        const int s = nogil([&] { return tx::get_mesh_boundaries(c.view, nb.view, t, b); });
        if (s == -2 && served(t))
          check(s, "get_mesh_boundaries",
                {{-2, "neighbors",
                  "not shaped as the kind's neighbour matrix of this connectivity"}});
        check(s, "get_mesh_boundaries", kind_table);
        return out(b);
      },
      py::arg("connectivity"), py::arg("neighbors"), py::arg("type"),
      R"(The open boundary of the mesh: the boundaries across which
`neighbors` (as get_neighbors gives it) names no element, in element then
local order, each with its element's orientation. ValueError: connectivity,
type, neighbors (not shaped as the kind's neighbour matrix).)");

  m.def(
      "copy_edges",
      [](py::handle connectivity, py::handle type, py::object edges) {
        auto e = index_matrix_rw(edges, "edges", true);
        if (is_group(connectivity)) {
          auto g = index_group(connectivity, "connectivity");
          auto f = kinds(type, "type", g.views.size());
          check(nogil([&] { return tx::copy_edges(g.first(), g.last(), f, e.view); }), "copy_edges",
                {{-1, "connectivity", "a matrix's shape or padding does not fit its kind"},
                 {-3, "type", "not one kind per connectivity"},
                 {-4, "edges", "neither empty nor of 2 columns"}});
        } else {
          auto c = index_matrix(connectivity, "connectivity");
          const element_type t = kind(type, "type");
          check(nogil([&] { return tx::copy_edges(c.view, t, e.view); }), "copy_edges",
                {{-1, "connectivity", "its shape or padding does not fit the kind"},
                 {-3, "edges", "neither empty nor of 2 columns"}});
        }
        return finish(e);
      },
      py::arg("connectivity"), py::arg("type"), py::arg("edges") = py::none(),
      R"(The distinct corner-to-corner edges of a connectivity, or of a list of
connectivities with one kind each (an edge shared by two comes out once):
returns an (e, 2) uint32 array. Of two equal edges the first met is kept with
its direction, in order of first meeting. `edges`, when given, stays in front
and is not searched. ET_HEXA20, ET_NONE, ET_NODE and ET_EDGE_MIXED add
nothing. ValueError: connectivity, type, edges.)");

  m.def(
      "get_subdomains",
      [](py::handle a, py::object b) -> py::object {
        if (b.is_none()) {
          auto nb = index_matrix(a, "neighbors");
          check_neighbors(nb.view);
          dense1D<unsigned> elements, starts;
          check(nogil([&] { return tx::get_subdomains(nb.view, elements, starts); }),
                "get_subdomains", {});
          return py::make_tuple(out(elements), out(starts));
        }
        auto c = index_matrix_rw(a, "connectivity");
        auto nb = index_matrix_rw(b, "neighbors");
        if (c.view.cols() != nb.view.cols())
          refuse("get_subdomains", "neighbors", "not one row per element of connectivity");
        check_neighbors(nb.view);
        dense1D<unsigned> starts;
        check(nogil([&] { return tx::get_subdomains(c.view, nb.view, starts); }), "get_subdomains",
              {});
        finish_in_place(c, "connectivity");
        finish_in_place(nb, "neighbors");
        return out(starts);
      },
      py::arg("neighbors"), py::arg("other") = py::none(),
      R"(get_subdomains(neighbors) -> (elements, starts), or
get_subdomains(connectivity, neighbors) -> starts.

The connected parts of a mesh through its neighbour matrix, numbered by their
lowest element, each listed breadth first from it: the elements of part k are
elements[starts[k]:starts[k+1]]. With a connectivity, both arrays are
renumbered in place so that each part is a run of rows (neighbour entries
follow), and starts gives the row range of each part.)");

  m.def(
      "sort_elfes",
      [](py::handle connectivity, py::object neighbors) {
        auto c = index_matrix_rw(connectivity, "connectivity");
        dense1D<unsigned> nodes, ends, ids;
        if (neighbors.is_none()) {
          nogil([&] { return tx::sort_elfes(c.view, nodes, ends, ids); });
          return py::make_tuple(finish(c), out(nodes), out(ends), out(ids));
        }
        auto nb = index_matrix_rw(neighbors, "neighbors");
        check(nogil([&] { return tx::sort_elfes(c.view, nb.view, nodes, ends, ids); }),
              "sort_elfes", {{-1, "neighbors", "not empty and not one row per element"}});
        return py::make_tuple(finish(c), finish(nb), out(nodes), out(ends), out(ids));
      },
      py::arg("connectivity"), py::arg("neighbors") = py::none(),
      R"(Sorts the rows of a (mixed) connectivity in place by their number of
real nodes (the entries before the first NO_ID): longest first, and within a
count the higher original row first. Rows without a real node are dropped.
Returns (connectivity, group_nodes, group_ends, new_ids): the sorted
connectivity (a leading slice of the caller's array), the node count of each
run, the row just past each run, and the new row of each old one (NO_ID when
dropped). With `neighbors`, its rows move along and its entries are
renumbered: (connectivity, neighbors, group_nodes, group_ends, new_ids).)");
}

}  // namespace qz4py
