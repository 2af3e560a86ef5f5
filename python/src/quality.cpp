// Mesh quality: edge lengths, edge qualities in a size field, shape
// qualities.
#include "arrays.h"
#include "histogram.h"

namespace qz4py {

namespace tx = qz4::tessellix;

namespace {

// The histogram to feed: the caller's, or a new one with the range found from
// the data.
py::object target(py::object hist) {
  if (hist.is_none()) return py::cast(new histogram(), py::return_value_policy::take_ownership);
  if (!py::isinstance<histogram>(hist))
    throw py::type_error("hist: a qz4tessellix.histogram is required");
  return hist;
}

const std::initializer_list<fault> single_edges = {
    {-1, "pos", "has neither 2 nor 3 columns"},
    {-2, "connectivity", "does not pass check_IDs as its type against the rows of pos"},
    {-4, "field", "not one entry per node, or an edge end whose size is not above 0"}};
const std::initializer_list<fault> range_edges = {
    {-1, "pos", "has neither 2 nor 3 columns"},
    {-2, "connectivity", "a matrix does not pass check_IDs as its type against the rows of pos"},
    {-4, "type", "not one kind per connectivity"},
    {-5, "field", "not one entry per node, or an edge end whose size is not above 0"}};

const std::initializer_list<fault> shape_table = {
    {-2, "connectivity", "does not pass check_IDs as its type against the rows of pos"},
    {-3, "type", "a kind without a shape measure"},
    {-4, "type", "not one kind per connectivity"}};

}  // namespace

void bind_quality(py::module_& m) {
  m.def(
      "edge_lengths",
      [](py::handle pos, py::handle connectivity) {
        auto p = real_matrix(pos, "pos");
        auto c = index_matrix(connectivity, "connectivity");
        dense2D<double> lengths;
        check(nogil([&] { return tx::edge_lengths(p.view, c.view, lengths); }), "edge_lengths",
              {{-2, "connectivity", "not 2 columns, or a node that is not a row of pos"}});
        return out(lengths);
      },
      py::arg("pos"), py::arg("connectivity"),
      R"(Per-node statistics of the Euclidean lengths of the edges of an (m, 2)
connectivity: an (n, 3) array, one row per node of pos with the shortest,
mean and longest incident edge; a node on no edge keeps (DBL_MAX, 0, 0). Edges
are not deduplicated. ValueError: connectivity.)");

  m.def(
      "edge_qualities",
      [](py::handle pos, py::handle connectivity, py::handle type, py::handle field,
         py::object hist) {
        auto p = real_matrix(pos, "pos");
        py::object h = target(hist);
        histogram& g = h.cast<histogram&>();
        const bool sizes = ndim_of(field) == 1;
        in<dense1D<double>> H;
        in<dense2D<double>> M;
        if (sizes)
          H = real_vector(field, "field");
        else
          M = real_matrix(field, "field");
        int s = 0;
        if (is_group(connectivity)) {
          auto grp = index_group(connectivity, "connectivity");
          auto f = kinds(type, "type", grp.views.size());
          g.use([&](qz4::misc::histogram& x) {
            s = sizes ? tx::edge_qualities(p.view, grp.first(), grp.last(), f, H.view, x)
                      : tx::edge_qualities(p.view, grp.first(), grp.last(), f, M.view, x);
          });
          check(s, "edge_qualities", range_edges);
        } else {
          auto c = index_matrix(connectivity, "connectivity");
          const element_type t = kind(type, "type");
          g.use([&](qz4::misc::histogram& x) {
            s = sizes ? tx::edge_qualities(p.view, c.view, t, H.view, x)
                      : tx::edge_qualities(p.view, c.view, t, M.view, x);
          });
          check(s, "edge_qualities", single_edges);
        }
        return h;
      },
      py::arg("pos"), py::arg("connectivity"), py::arg("type"), py::arg("field"),
      py::arg("hist") = py::none(),
      R"(Feeds a histogram with the length of every distinct edge of a
connectivity (or of a list of connectivities with one kind each) in a size
field (1-D, one size per node) or a tensor field ((n, 3) with 2D pos, (n, 6)
with 3D pos): an edge as long as the sizes at its ends ask for measures 1.
Edges with an end whose size is not above 0 are left out. Returns `hist`
(not reset), or a new histogram. ValueError: pos, connectivity, type,
field.)");

  m.def(
      "shape_qualities",
      [](py::handle pos, py::handle connectivity, py::handle type, py::object hist) -> py::object {
        auto p = real_matrix(pos, "pos");
        dense1D<double> q;
        int s = 0;
        if (is_group(connectivity)) {
          auto grp = index_group(connectivity, "connectivity");
          auto f = kinds(type, "type", grp.views.size());
          if (hist.is_none()) {
            s = nogil([&] { return tx::shape_qualities(p.view, grp.first(), grp.last(), f, q); });
          } else {
            py::object h = target(hist);
            h.cast<histogram&>().use([&](qz4::misc::histogram& x) {
              s = tx::shape_qualities(p.view, grp.first(), grp.last(), f, x);
            });
          }
        } else {
          auto c = index_matrix(connectivity, "connectivity");
          const element_type t = kind(type, "type");
          if (hist.is_none()) {
            s = nogil([&] { return tx::shape_qualities(p.view, c.view, t, q); });
          } else {
            py::object h = target(hist);
            h.cast<histogram&>().use(
                [&](qz4::misc::histogram& x) { s = tx::shape_qualities(p.view, c.view, t, x); });
          }
        }
        check(s, "shape_qualities", shape_table);
        if (!hist.is_none()) return hist;
        return out(q);
      },
      py::arg("pos"), py::arg("connectivity"), py::arg("type"), py::arg("hist") = py::none(),
      R"(One shape quality per element: 1 for the ideal element of its kind, 0
for a flat one, negative for an inverted solid or an inverted face in the
plane (2-column pos). `connectivity` may be a list of connectivities with one
kind each in `type`, their qualities one after the other. Returns a 1-D array,
or, given `hist`, feeds it and returns it. Kinds measured: ET_EDGE2, ET_TRIA3,
ET_QUAD4, ET_FACE_MIXED, ET_TETRA4, ET_PYRA5, ET_PENTA6, ET_HEXA8,
ET_SOLID_MIXED (by its column count). ValueError: type (no measure),
connectivity.)");
}

}  // namespace qz4py
