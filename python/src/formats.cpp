// File formats: MEDIT, VTK and EnSight for viewing, STL and Wavefront OBJ
// surfaces, NASTRAN and FEMAP decks.
#include <unistd.h>

#include <cstdio>

#include "arrays.h"

namespace qz4py {

namespace tx = qz4::tessellix;

namespace {

// A list of connectivities with their kinds, or one connectivity and its kind.
struct mesh_group {
  group g;
  dense1D<int> flags;
};

mesh_group connectivities(py::handle connectivity, py::handle type) {
  mesh_group r;
  if (is_group(connectivity)) {
    r.g = index_group(connectivity, "connectivity");
    r.flags = kinds(type, "type", r.g.views.size());
  } else {
    r.g.args.push_back(index_matrix(connectivity, "connectivity"));
    r.g.views.push_back(r.g.args.back().view);
    r.flags = dense1D<int>(1, kind(type, "type"));
  }
  return r;
}

template <class M>
py::list list_of(const dense1D<M>& v) {
  py::list l;
  for (unsigned i = 0; i < v.size(); ++i) l.append(out(v[i]));
  return l;
}

py::list kinds_of(const dense1D<int>& k) {
  py::list l;
  for (unsigned i = 0; i < k.size(); ++i)
    l.append(k[i] >= 0 && k[i] <= 20 ? py::cast(element_type(k[i])) : py::cast(k[i]));
  return l;
}

// A run table's kinds: as many as given, so that the library tells a
// mismatch with the starts.
dense1D<int> run_kinds(py::handle obj) {
  if (!PyList_Check(obj.ptr()) && !PyTuple_Check(obj.ptr()) && !py::isinstance<py::array>(obj))
    throw py::type_error("kinds: a sequence of element kinds is required");
  return kinds(obj, "kinds", std::size_t(py::len(obj)));
}

const char* const open_write = "cannot be opened for writing";
const char* const open_read = "cannot be opened or read";

// Deck writers: one status table for the three forms.
const std::initializer_list<fault> deck_out = {
    {-1, "filename", open_write},
    {-2, "pos", "has not 3 columns"},
    {-3, "conn", "a run's rows do not fit its kind (padding, or fewer columns than its nodes)"},
    {-5, "starts", "not one entry more than kinds"},
    {-6, "properties",
     "not one per element (the one- and two-connectivity forms write one "
     "property per connectivity, so one element each)"}};

// `io` is the service's overload set: a generic lambda over its three forms.
template <class IO>
void deck_output(const char* service, py::handle filename, py::handle pos, py::args a, IO io) {
  const std::string f = path(filename, "filename");
  auto p = real_matrix(pos, "pos");
  if (a.size() < 2 || a.size() > 4)
    throw py::type_error(std::string(service) +
                         ": (conn, type), (conn, starts, kinds, properties) or (first, second, "
                         "first_type, second_type) is required after pos");
  int s;
  if (a.size() == 2) {
    auto c = index_matrix(a[0], "conn");
    const element_type t = kind(a[1], "type");
    s = nogil([&] { return io(f.c_str(), p.view, c.view, t); });
  } else if (ndim_of(a[1]) == 2) {
    if (a.size() != 4)
      throw py::type_error(std::string(service) + ": first_type and second_type are required");
    auto c1 = index_matrix(a[0], "first"), c2 = index_matrix(a[1], "second");
    const element_type t1 = kind(a[2], "first_type"), t2 = kind(a[3], "second_type");
    s = nogil([&] { return io(f.c_str(), p.view, c1.view, c2.view, t1, t2); });
  } else {
    if (a.size() != 4)
      throw py::type_error(std::string(service) + ": kinds and properties are required");
    auto c = index_matrix(a[0], "conn");
    auto st = index_vector(a[1], "starts");
    const dense1D<int> k = run_kinds(a[2]);
    auto pr = index_vector(a[3], "properties");
    s = nogil([&] { return io(f.c_str(), p.view, c.view, st.view, k, pr.view); });
  }
  check_file(s, service, f, false, deck_out);
}

template <class IO>
py::tuple deck_input(const char* service, py::handle filename, const std::string& form, IO io) {
  const std::string f = path(filename, "filename");
  const std::initializer_list<fault> table = {{-1, "filename", open_read}};
  dense2D<double> pos;
  if (form == "runs") {
    dense2D<unsigned> conn;
    dense1D<unsigned> starts, properties;
    dense1D<int> k;
    check_file(nogil([&] { return io(f.c_str(), pos, conn, starts, k, properties); }), service, f,
               true, table);
    return py::make_tuple(out(pos), out(conn), out(starts), kinds_of(k), out(properties));
  }
  if (form == "single") {
    dense2D<unsigned> conn;
    element_type t = qz4::ET_NONE;
    check_file(nogil([&] { return io(f.c_str(), pos, conn, t); }), service, f, true, table);
    return py::make_tuple(out(pos), out(conn), t);
  }
  if (form != "pair") refuse(service, "form", "\"runs\", \"single\" or \"pair\" is required");
  dense2D<unsigned> c1, c2;
  element_type t1 = qz4::ET_NONE, t2 = qz4::ET_NONE;
  check_file(nogil([&] { return io(f.c_str(), pos, c1, c2, t1, t2); }), service, f, true, table);
  return py::make_tuple(out(pos), out(c1), out(c2), t1, t2);
}

// A connectivity the writer reads `rows` entries of per element. The surface
// writers read every element, even of a matrix without rows.
void enough_rows(const char* service, const char* name, const dense2D<unsigned>& c, unsigned rows,
                 bool exact) {
  if ((exact ? c.cols() == 0 : c.empty()) || (exact ? c.rows() == rows : c.rows() >= rows)) return;
  refuse(service, name,
         std::to_string(rows) + " columns are required, not " + std::to_string(c.rows()));
}

bool writable_file(const std::string& f) { return ::access(f.c_str(), W_OK) == 0; }

}  // namespace

void bind_formats(py::module_& m) {
  m.def(
      "split_connectivities",
      [](py::handle connectivity, py::handle type) {
        auto g = connectivities(connectivity, type);
        dense1D<dense2D<unsigned>> conns;
        dense1D<int> k;
        dense1D<unsigned> refs;
        check(nogil([&] {
                return tx::split_connectivities(g.g.first(), g.g.last(), g.flags, conns, k, refs);
              }),
              "split_connectivities", {{-1, "type", "not one kind per connectivity"}});
        return py::make_tuple(list_of(conns), kinds_of(k), out(refs));
      },
      py::arg("connectivity"), py::arg("type"),
      R"(Splits connectivities into connectivities of one pure kind: a pure one
as it stands, a mixed one (ET_FACE_MIXED, ET_SOLID_MIXED) sorted as sort_elfes
sorts and cut into its runs (quadrangles and triangles; hexahedra, wedges,
pyramids and tetrahedra). Empty ones are skipped. Returns (connectivities,
kinds, references), the reference of each output being the position of its
source in the list.)");

  m.def(
      "medit_output",
      [](py::handle filename, py::handle pos, py::handle connectivity, py::handle type,
         py::handle groups) {
        const std::string f = path(filename, "filename");
        auto p = real_matrix(pos, "pos");
        int s;
        if (!groups.is_none()) {
          auto c = index_matrix(connectivity, "connectivity");
          const element_type t = kind(type, "type");
          auto g = index_vector(groups, "groups");
          s = nogil([&] { return tx::medit_output(f.c_str(), p.view, c.view, t, g.view); });
          if (s == -6) s = -199;  // the groups could not be allocated
        } else {
          auto g = connectivities(connectivity, type);
          s = nogil([&] {
            return tx::medit_output(f.c_str(), p.view, g.g.first(), g.g.last(), g.flags);
          });
        }
        check_file(
            s, "medit_output", f, false,
            {{-1, "filename", open_write},
             {-2, "pos", "has 0 or more than 3 columns"},
             {-3, "connectivity", "does not pass check_IDs as its type against the rows of pos"},
             {-5, groups.is_none() ? "type" : "groups",
              groups.is_none() ? "not one kind per connectivity" : "not one group per element"}});
      },
      py::arg("filename"), py::arg("pos"), py::arg("connectivity"), py::arg("type"),
      py::arg("groups") = py::none(),
      R"(Writes a MEDIT mesh file (text): the nodes (reference 0), then for each
kind in the order of element_type values one section of its elements, with
the position of their connectivity in the list as reference. `connectivity`
is one connectivity with its `type`, or a list with one kind each; with
`groups` (one per element) each element carries its group as reference and
elements of group NO_ID are left out. Corners only; mixed connectivities are
split first. ValueError: pos (0 or more than 3 columns), connectivity, type,
groups; OSError: filename.)");

  m.def(
      "medit_scalar",
      [](py::handle filename, unsigned dim, py::handle values) {
        const std::string f = path(filename, "filename");
        auto v = real_vector(values, "values");
        check_file(nogil([&] { return tx::medit_scalar(f.c_str(), dim, v.view); }), "medit_scalar",
                   f, false, {{-1, "filename", open_write}});
      },
      py::arg("filename"), py::arg("dim"), py::arg("values"),
      "Writes a MEDIT solution file of one scalar per node; `dim` is the space dimension of "
      "its header.");

  m.def(
      "medit_vector",
      [](py::handle filename, unsigned dim, py::handle vectors) {
        const std::string f = path(filename, "filename");
        auto v = real_matrix(vectors, "vectors");
        check_file(nogil([&] { return tx::medit_vector(f.c_str(), dim, v.view); }), "medit_vector",
                   f, false, {{-1, "filename", open_write}});
      },
      py::arg("filename"), py::arg("dim"), py::arg("vectors"),
      "Writes a MEDIT solution file of one vector (a row of `vectors`) per node.");

  m.def(
      "medit_tensor",
      [](py::handle filename, py::handle tensors) {
        const std::string f = path(filename, "filename");
        auto v = real_matrix(tensors, "tensors");
        check_file(nogil([&] { return tx::medit_tensor(f.c_str(), v.view); }), "medit_tensor", f,
                   false,
                   {{-1, "filename", open_write}, {-2, "tensors", "has neither 3 nor 6 columns"}});
      },
      py::arg("filename"), py::arg("tensors"),
      R"(Writes a MEDIT solution file of one packed symmetric tensor per node:
(n, 3) in 2D or (n, 6) in 3D.)");

  m.def(
      "vtk_convert",
      [](py::handle connectivity, py::handle type, unsigned count, py::object cells,
         py::object types) {
        auto c = index_matrix(connectivity, "connectivity");
        const element_type t = kind(type, "type");
        auto ce = index_vector_rw(cells, "cells", true);
        auto ty = index_vector_rw(types, "types", true);
        check(nogil([&] { return tx::vtk_convert(c.view, t, count, ce.view, ty.view); }),
              "vtk_convert",
              {{-1, "connectivity",
                "its layout does not fit the kind, or fewer columns than corners"},
               {-2, "type", "a kind without a VTK cell"}});
        return py::make_tuple(count, finish(ce), finish(ty));
      },
      py::arg("connectivity"), py::arg("type"), py::arg("count") = 0, py::arg("cells") = py::none(),
      py::arg("types") = py::none(),
      R"(Appends the VTK cells of a pure connectivity to (count, cells, types)
and returns them: per element a cell of its corners (a tetrahedron's last two
exchanged, as VTK orders them) and, when it has more columns than corners, a
poly-vertex of the other nodes. `cells` holds the node count then the nodes of
each cell, `types` the VTK cell type of each.)");

  m.def(
      "vtk_output",
      [](py::handle filename, py::handle pos, py::handle a, py::handle b, py::handle c) {
        const std::string f = path(filename, "filename");
        auto p = real_matrix(pos, "pos");
        if (!c.is_none()) {  // the stream form: count, cells, types
          const long long count = integer(a, "count");
          auto ce = index_vector(b, "cells");
          auto ty = index_vector(c, "types");
          if (count < 0 || count > 0xFFFFFFFFll) refuse("vtk_output", "count", "not a count");
          std::FILE* out = std::fopen(f.c_str(), "w");
          if (!out) check_file(-1, "vtk_output", f, false, {{-1, "filename", open_write}});
          const int s =
              nogil([&] { return tx::vtk_output(out, p.view, unsigned(count), ce.view, ty.view); });
          std::fclose(out);
          check(s, "vtk_output", {{-2, "pos", "has neither 2 nor 3 columns"}});
          return;
        }
        auto g = connectivities(a, b);
        const bool pos_ok = p.view.rows() == 2 || p.view.rows() == 3;
        const int s = nogil(
            [&] { return tx::vtk_output(f.c_str(), p.view, g.g.first(), g.g.last(), g.flags); });
        // -1 and -2 each have two causes: the file or the layout, the
        // coordinates or the kind.
        const bool opened = writable_file(f);
        check_file(
            s, "vtk_output", f, false,
            {{-1, opened ? "connectivity" : "filename",
              opened ? "its layout does not fit the kind, or fewer columns than corners"
                     : open_write},
             {-2, pos_ok ? "type" : "pos",
              pos_ok ? "a kind without a VTK cell" : "has neither 2 nor 3 columns"},
             {-3, "connectivity", "does not pass check_IDs as its type against the rows of pos"},
             {-5, "type", "not one kind per connectivity"}});
      },
      py::arg("filename"), py::arg("pos"), py::arg("connectivity"), py::arg("type"),
      py::arg("types") = py::none(),
      R"(vtk_output(filename, pos, connectivity, type): writes a legacy VTK file
(ASCII unstructured grid) of one connectivity, or of a list with one kind
each; mixed ones are split first.
vtk_output(filename, pos, count, cells, types): writes the points and `count`
cells of vtk_convert's lists; point or cell data may be appended to the file
afterwards. ValueError: pos (neither 2 nor 3 columns), connectivity, type;
OSError: filename.)");

  m.def(
      "ensight_output",
      [](py::handle filename, py::handle pos, py::handle connectivity, py::handle type) {
        const std::string f = path(filename, "filename");
        auto p = real_matrix(pos, "pos");
        auto g = connectivities(connectivity, type);
        // Pyramids and points get no part; every other kind of a fixed node
        // count is read that far.
        for (std::size_t i = 0; i < g.g.views.size() && i < g.flags.size(); ++i) {
          const int k = g.flags[unsigned(i)];
          if (k != qz4::ET_NODE && k != qz4::ET_PYRA5 && k != qz4::ET_PYRA14)
            enough_rows("ensight_output", "connectivity", g.g.views[i], qz4::element_nodes[k],
                        false);
        }
        check_file(nogil([&] {
                     return tx::ensight_output(f.c_str(), p.view, g.g.first(), g.g.last(), g.flags);
                   }),
                   "ensight_output", f, false,
                   {{-1, "filename", open_write},
                    {-2, "pos", "has 0 or more than 3 columns"},
                    {-3, "connectivity", "its layout does not fit the kind"},
                    {-5, "type", "not one kind per connectivity"}});
      },
      py::arg("filename"), py::arg("pos"), py::arg("connectivity"), py::arg("type"),
      R"(Writes an EnSight geometry file (ASCII, node and element ids given): the
nodes with three coordinates, then a part per connectivity numbered by its
position in the list from 1. Pyramids, points and mixed connectivities get no
part. ValueError: pos (0 or more than 3 columns), connectivity, type; OSError:
filename.)");

  m.def(
      "STL_output",
      [](py::handle filename, py::handle pos, py::handle triangles, bool text) {
        const std::string f = path(filename, "filename");
        auto p = real_matrix(pos, "pos");
        auto t = index_matrix(triangles, "triangles");
        enough_rows("STL_output", "triangles", t.view, 3, true);
        check_file(nogil([&] { return tx::STL_output(f.c_str(), p.view, t.view, text); }),
                   "STL_output", f, false,
                   {{-1, "filename", "cannot be opened or written"},
                    {-2, "pos", "has neither 2 nor 3 columns"},
                    {-3, "triangles", "not 3 columns of nodes of pos"}});
      },
      py::arg("filename"), py::arg("pos"), py::arg("triangles"), py::arg("text") = false,
      R"(Writes the triangles of a surface as STL, binary (an 80-byte header,
a count, 50 bytes per triangle) or text ("solid QZ4"), each with its unit
normal. ValueError: pos (neither 2 nor 3 columns), triangles; OSError:
filename.)");

  m.def(
      "STL_input",
      [](py::handle filename, bool text) {
        const std::string f = path(filename, "filename");
        dense2D<double> pos;
        dense2D<unsigned> tri;
        const int s = check_file(
            nogil([&] { return tx::STL_input(f.c_str(), pos, tri, text); }), "STL_input", f, true,
            {{-1, "filename",
              text ? "cannot be opened, or has no first line"
                   : "cannot be opened, or is shorter than its 84-byte header"}});
        return py::make_tuple(s, out(pos), out(tri));
      },
      py::arg("filename"), py::arg("text") = false,
      R"(Reads the first solid of an STL file, binary or text as `text` says,
and welds its triangles into shared nodes (merge within 5% of the smallest
height of a sound triangle, then removal of collapsed triangles and unused
nodes). A file that stops midway is read to its last whole triangle. Returns
(count, pos, triangles). OSError: filename.)");

  m.def(
      "WavefrontOBJ_output",
      [](py::handle filename, py::handle pos, py::handle normals, py::handle textures,
         py::handle triangles, py::handle quadrangles) {
        const std::string f = path(filename, "filename");
        auto p = real_matrix(pos, "pos");
        in<dense2D<double>> n, t;
        in<dense2D<unsigned>> tri, quad;
        if (!normals.is_none()) n = real_matrix(normals, "normals");
        if (!textures.is_none()) t = real_matrix(textures, "textures");
        if (!triangles.is_none()) tri = index_matrix(triangles, "triangles");
        if (!quadrangles.is_none()) quad = index_matrix(quadrangles, "quadrangles");
        enough_rows("WavefrontOBJ_output", "triangles", tri.view, 3, true);
        enough_rows("WavefrontOBJ_output", "quadrangles", quad.view, 4, true);
        check_file(nogil([&] {
                     return tx::WavefrontOBJ_output(f.c_str(), p.view, n.view, t.view, tri.view,
                                                    quad.view);
                   }),
                   "WavefrontOBJ_output", f, false,
                   {{-1, "filename", open_write},
                    {-2, "pos", "has neither 2 nor 3 columns"},
                    {-3, "normals", "not empty and not one row of 3 per node"},
                    {-4, "textures", "not empty and not one row of 2 per node"}});
      },
      py::arg("filename"), py::arg("pos"), py::arg("normals") = py::none(),
      py::arg("textures") = py::none(), py::arg("triangles") = py::none(),
      py::arg("quadrangles") = py::none(),
      R"(Writes "v" lines for the nodes, "vt" and "vn" lines when textures ((n, 2))
and normals ((n, 3)) are given, then "f" lines for the triangles ((m, 3)) and
quadrangles ((m, 4)). ValueError: pos, normals, textures, triangles,
quadrangles; OSError: filename.)");

  m.def(
      "WavefrontOBJ_input",
      [](py::handle filename) {
        const std::string f = path(filename, "filename");
        dense2D<double> pos, normals, textures;
        dense2D<unsigned> tri, quad;
        check_file(nogil([&] {
                     return tx::WavefrontOBJ_input(f.c_str(), pos, normals, textures, tri, quad);
                   }),
                   "WavefrontOBJ_input", f, true,
                   {{-1, "filename", "cannot be opened, or holds a statement that does not read"}});
        return py::make_tuple(out(pos), out(normals), out(textures), out(tri), out(quad));
      },
      py::arg("filename"),
      R"(Reads the "v", "vn", "vt" and "f" statements of an OBJ file: returns
(pos, normals, textures, triangles, quadrangles); faces of other corner counts
are dropped. OSError: filename.)");

  m.def(
      "NASTRAN_output",
      [](py::handle filename, py::handle pos, py::args a) {
        deck_output("NASTRAN_output", filename, pos, a,
                    [](auto&&... x) { return tx::NASTRAN_output(x...); });
      },
      py::arg("filename"), py::arg("pos"),
      R"(Writes a NASTRAN bulk data deck. NASTRAN_output(filename, pos, conn,
type), (filename, pos, conn, starts, kinds, properties) for a padded mixed
connectivity with its run table (run r holds rows starts[r] to starts[r+1] of
kind kinds[r]; one property per element), or (filename, pos, first, second,
first_type, second_type). pos has 3 columns. ValueError: pos, conn, starts,
properties; OSError: filename.)");

  m.def(
      "NASTRAN_input",
      [](py::handle filename, const std::string& form) {
        return deck_input("NASTRAN_input", filename, form,
                          [](auto&&... x) { return tx::NASTRAN_input(x...); });
      },
      py::arg("filename"), py::arg("form") = "runs",
      R"(Reads the bulk section of a NASTRAN deck (from "BEGIN BULK" to
"ENDDATA"): GRID cards and the element cards, in small, large or free field
form. form="runs" returns (pos, conn, starts, kinds, properties), the padded
connectivity with its run table; form="single" (pos, conn, type), type being
ET_NONE; form="pair" (pos, first, second, first_type, second_type), views of
the first two runs. Lines are cut at blanks and commas only: a deck with
Windows line ends reads as its LF twin through read(). OSError: filename
(missing, no BEGIN BULK, no node or element, a short card).)");

  m.def(
      "FEMAP_output",
      [](py::handle filename, py::handle pos, py::args a) {
        deck_output("FEMAP_output", filename, pos, a,
                    [](auto&&... x) { return tx::FEMAP_output(x...); });
      },
      py::arg("filename"), py::arg("pos"),
      R"(Writes FEMAP neutral blocks 403 (nodes) and 404 (elements); forms and
errors as NASTRAN_output. Kinds without a FEMAP topology (ET_QUAD9, pyramids,
ET_PENTA18, ET_HEXA27) are left out.)");

  m.def(
      "FEMAP_input",
      [](py::handle filename, const std::string& form) {
        return deck_input("FEMAP_input", filename, form,
                          [](auto&&... x) { return tx::FEMAP_input(x...); });
      },
      py::arg("filename"), py::arg("form") = "runs",
      R"(Reads blocks 403 and 404 of a FEMAP neutral file; forms as
NASTRAN_input. An unknown topology code puts a kind 0 in the run table.)");

  m.def(
      "medit_input",
      [](py::handle filename, bool references) {
        const std::string f = path(filename, "filename");
        dense2D<double> pos;
        dense1D<int> node_refs, k;
        dense1D<dense2D<unsigned>> conns;
        dense1D<dense1D<int>> refs;
        check_file(
            nogil([&] { return tx::medit_input(f.c_str(), pos, node_refs, conns, k, refs); }),
            "medit_input", f, true,
            {{-1, "filename", "cannot be opened"},
             {-2, "filename", "is not a MEDIT mesh"},
             {-3, "filename", "is cut short or corrupt"},
             {-4, "filename", "an element names a node outside 1 to the vertex count"}});
        if (!references) return py::make_tuple(out(pos), list_of(conns), kinds_of(k));
        py::list r;
        for (unsigned i = 0; i < refs.size(); ++i) r.append(out(refs[i]));
        return py::make_tuple(out(pos), out(node_refs), list_of(conns), kinds_of(k), r);
      },
      py::arg("filename"), py::arg("references") = false,
      R"(Reads a MEDIT mesh, text (.mesh) or binary (.meshb), told apart by the
content. Returns (pos, connectivities, kinds), one connectivity per kind
present; with references=True (pos, node_references, connectivities, kinds,
references). OSError: filename (missing, not a MEDIT mesh, cut short or
corrupt, a node out of range).)");

  m.def(
      "medit_solution_input",
      [](py::handle filename) {
        const std::string f = path(filename, "filename");
        dense1D<dense2D<double>> fields;
        dense1D<int> k;
        const int s =
            check_file(nogil([&] { return tx::medit_solution_input(f.c_str(), fields, k); }),
                       "medit_solution_input", f, true,
                       {{-1, "filename", "cannot be opened"},
                        {-2, "filename", "is not a MEDIT solution at vertices"},
                        {-3, "filename", "is cut short or corrupt"}});
        py::list kl;
        for (unsigned i = 0; i < k.size(); ++i) kl.append(k[i]);
        return py::make_tuple(s, list_of(fields), kl);
      },
      py::arg("filename"),
      R"(Reads the fields of a MEDIT solution at vertices (.sol, .solb, or the
header form of medit_scalar, medit_vector and medit_tensor): returns (count,
fields, field_kinds), count being the vertex count, each field an (n, k)
array, its kind 1 (scalar), 2 (vector) or 3 (packed tensor). OSError:
filename.)");

  m.def(
      "vtk_input",
      [](py::handle filename) {
        const std::string f = path(filename, "filename");
        dense2D<double> pos;
        dense1D<dense2D<unsigned>> conns;
        dense1D<int> k;
        unsigned skipped = 0;
        check_file(nogil([&] { return tx::vtk_input(f.c_str(), pos, conns, k, skipped); }),
                   "vtk_input", f, true,
                   {{-1, "filename", "cannot be opened"},
                    {-2, "filename", "is not a legacy VTK unstructured grid or polydata"},
                    {-3, "filename", "is cut short or corrupt"},
                    {-4, "filename", "a cell names a point beyond the points"}});
        return py::make_tuple(out(pos), list_of(conns), kinds_of(k), skipped);
      },
      py::arg("filename"),
      R"(Reads a legacy VTK file (2.0 to 5.1, ASCII or binary; unstructured grid
or polydata): returns (pos, connectivities, kinds, skipped), one connectivity
per kind present, skipped counting the cells of no library kind. OSError:
filename.)");
}

}  // namespace qz4py
