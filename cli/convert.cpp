// tessellix convert: from any format the library reads to any it writes.
#include <CLI/CLI.hpp>
#include <memory>
#include <utility>

#include "tool.h"

namespace cli {

using namespace qz4;
using namespace qz4::tessellix;

namespace {

struct convert_options {
  std::string in, out, from, to;
  bool ascii = false, boundary = false;
};

// The open boundary of the solids as a surface facing outwards (a boundary
// face keeps its element's orientation, whose normal points inwards), on the
// nodes it uses only. A mesh without solids is left as it is.
void to_boundary(mesh& m) {
  const top_view v = top_elements(m);
  if (v.dimension != 3) return;
  stage st("topology");
  dense2D<unsigned> neighbors, faces;
  check_status(get_neighbors(v.conn, v.kind, false, neighbors), "finding the neighbours");
  check_status(get_mesh_boundaries(v.conn, neighbors, v.kind, faces), "finding the boundary");
  for (unsigned e = 0; e < faces.cols(); ++e) {
    const bool triangle = faces.rows() == 3 || faces(3, e) == NO_ID;
    std::swap(faces(1, e), faces(triangle ? 2 : 3, e));
  }
  const element_type kind = faces.rows() == 3    ? ET_TRIA3
                            : v.kind == ET_HEXA8 ? ET_QUAD4
                                                 : ET_FACE_MIXED;
  dense1D<dense2D<unsigned>> pure;
  dense1D<int> kinds;
  dense1D<unsigned> unused_references;
  check_status(split_connectivities(&faces, &faces + 1, dense1D<int>(1, int(kind)), pure, kinds,
                                    unused_references),
               "sorting the boundary faces");
  mesh surface;
  surface.pos = m.pos;
  for (unsigned i = 0; i < pure.size(); ++i) surface.add(pure[i], element_type(kinds[i]));
  dense1D<unsigned> node_map;
  check_status(simplify(surface.pos, surface.conn.data(), surface.conn.data() + surface.conn.size(),
                        node_map, 0),
               "dropping the inner nodes");
  m = surface;
  st.done("boundary surface: " + mesh_words(m));
}

void run(const convert_options& o) {
  const file_format from = format_of(o.in, o.from, "--from"), to = format_of(o.out, o.to, "--to");
  refuse_same_file(o.in, o.out);
  output_file out(o.out, to);
  mesh m = read_mesh(o.in, from);
  if (o.boundary) to_boundary(m);
  write_options w;
  w.ascii = o.ascii;
  write_mesh(m, out, to, w);
  out.commit();
}

}  // namespace

void add_convert(CLI::App& app) {
  auto o = std::make_shared<convert_options>();
  CLI::App* c = app.add_subcommand(
      "convert", "Reads IN and writes its mesh to OUT, in the formats of their extensions");
  add_files(*c, o->in, &o->out, o->from, &o->to);
  c->add_flag("--ascii", o->ascii, "Text STL instead of binary");
  c->add_flag("--boundary", o->boundary,
              "Write the boundary surface of the solids instead of the mesh");
  c->footer(
      "A binary STL is told from a text one by its size. Kinds that OUT's format cannot hold "
      "are refused, by name; STL takes quadrangles as two triangles each.\n"
      "Examples:\n  tessellix convert part.stl part.vtk\n"
      "  tessellix convert volume.mesh skin.stl --boundary");
  c->callback([o] { run(*o); });
}

}  // namespace cli
