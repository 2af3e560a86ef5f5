// tessellix transform: translations, rotations, scalings and mirrors, in the
// order given on the command line.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "tool.h"

namespace cli {

using namespace qz4;
using namespace qz4::tessellix;

namespace {

struct transform_options {
  std::string in, out, from, to;
  std::vector<double> translate, rotate, scale, mirror;
  std::vector<CLI::Option*> order;
  CLI::App* command = nullptr;
};

// Local node orders that turn an element inside out, for the kinds whose
// node order is the library's own (that of quadratic nodes belongs to the
// file formats).
const std::vector<unsigned>& flip_order(element_type k) {
  static const std::vector<unsigned> none,
      tria = {0, 2, 1}, quad = {0, 3, 2, 1}, tetra = {0, 2, 1, 3}, pyra = {0, 3, 2, 1, 4},
      penta = {0, 2, 1, 3, 5, 4}, hexa = {0, 3, 2, 1, 4, 7, 6, 5};
  switch (k) {
    case ET_TRIA3:
      return tria;
    case ET_QUAD4:
      return quad;
    case ET_TETRA4:
      return tetra;
    case ET_PYRA5:
      return pyra;
    case ET_PENTA6:
      return penta;
    case ET_HEXA8:
      return hexa;
    default:
      return none;
  }
}

// A mirror leaves elements inside out: their local order is turned back.
void keep_orientation(mesh& m) {
  for (std::size_t b = 0; b < m.conn.size(); ++b) {
    const std::vector<unsigned>& order = flip_order(m.kind[b]);
    if (kind_dimension(m.kind[b]) < 2 || m.conn[b].empty()) continue;
    if (order.empty())
      fail(file_error, format("cannot mirror %s elements: the order of their mid nodes belongs to "
                              "each file format",
                              kind_name(m.kind[b])));
    dense2D<unsigned>& c = m.conn[b];
    unsigned column[8];
    for (unsigned e = 0; e < c.cols(); ++e) {
      for (unsigned r = 0; r < order.size(); ++r) column[r] = c(order[r], e);
      for (unsigned r = 0; r < order.size(); ++r) c(r, e) = column[r];
    }
  }
}

// `count` values of an option from `at` on as a point of the mesh's
// dimension; missing values are 0. A plane mesh takes no z.
template <unsigned D>
vector_fixed<double, D> point(const std::vector<double>& v, std::size_t at, std::size_t count,
                              const char* option) {
  vector_fixed<double, D> p;
  p = 0.0;
  for (std::size_t i = at; i < v.size() && i < at + count; ++i) {
    if (i - at < D)
      p[unsigned(i - at)] = v[i];
    else if (v[i] != 0)
      fail(usage, format("%s: the mesh is plane, so a z must be 0", option));
  }
  return p;
}

void expect(const std::vector<double>& v, std::initializer_list<std::size_t> counts,
            const char* option, const char* form) {
  for (std::size_t n : counts)
    if (v.size() == n) return;
  fail(usage, format("%s takes %s", option, form));
}

template <unsigned D>
void apply(mesh& m, const std::string& name, const std::vector<double>& v) {
  const double pi = std::acos(-1.0);
  if (name == "--translate") {
    expect(v, {2, 3}, "--translate", "x,y or x,y,z");
    translate(m.pos, point<D>(v, 0, 3, "--translate"));
  } else if (name == "--scale") {
    expect(v, {1, 3, 4}, "--scale", "a factor, optionally followed by the centre x,y[,z]");
    if (v[0] == 0) fail(usage, "--scale: a factor of 0 collapses the mesh");
    zoom(m.pos, point<D>(v, 1, 3, "--scale"), v[0]);
    if (v[0] < 0 && D == 3) keep_orientation(m);  // a point mirror in space
  } else if (name == "--rotate") {
    expect(v, {1, 4, 7}, "--rotate",
           "an angle in degrees, optionally followed by the axis ax,ay,az and the centre x,y,z");
    const double angle = v[0] * pi / 180;
    vector_fixed<double, 3> axis = {{0, 0, 1}};
    for (unsigned i = 0; i < 3 && v.size() > 1; ++i) axis[i] = v[1 + i];
    const double length = std::sqrt(axis[0] * axis[0] + axis[1] * axis[1] + axis[2] * axis[2]);
    if (length == 0) fail(usage, "--rotate: the axis must not be 0,0,0");
    if (D == 2) {
      if (axis[0] != 0 || axis[1] != 0) fail(usage, "--rotate: a plane mesh turns about z only");
      vector_fixed<double, 2> c = point<2>(v, 4, 3, "--rotate");
      rotate(m.pos, c, axis[2] > 0 ? angle : -angle);
    } else {
      for (unsigned i = 0; i < 3; ++i) axis[i] *= angle / length;
      rotate(m.pos, point<3>(v, 4, 3, "--rotate"), axis);
    }
  } else if (name == "--mirror") {
    expect(v, {D, 2 * D}, "--mirror",
           D == 2 ? "the normal of the mirror line nx,ny, optionally followed by a point x,y of it"
                  : "the normal of the mirror plane nx,ny,nz, optionally followed by a point "
                    "x,y,z of it");
    const vector_fixed<double, D> normal = point<D>(v, 0, D, "--mirror");
    // Mirror copies of all nodes, in order, replace the nodes.
    const unsigned n = m.pos.cols();
    dense2D<unsigned> all(1, n), copy;
    for (unsigned i = 0; i < n; ++i) all(0, i) = i;
    const int s = copy_sym_mesh(m.pos, copy, point<D>(v, D, D, "--mirror"), normal, all);
    if (s == -4) fail(usage, "--mirror: the normal must not be 0");
    check_status(s, "mirroring the nodes");
    dense2D<double> mirrored;
    if (!mirrored.copy(m.pos.sub_matrix(0, n, m.pos.rows(), n))) check_status(-199, "mirroring");
    m.pos = mirrored;
    keep_orientation(m);
  }
}

void run(const transform_options& o) {
  const file_format from = format_of(o.in, o.from, "--from"), to = format_of(o.out, o.to, "--to");
  refuse_same_file(o.in, o.out);
  output_file out(o.out, to);
  mesh m = read_mesh(o.in, from);
  stage st("transform");
  std::vector<std::string> done;
  for (CLI::Option* opt : o.command->parse_order()) {
    const std::string name = opt->get_name();
    if (name.compare(0, 2, "--") != 0 || name == "--from" || name == "--to" ||
        std::find(done.begin(), done.end(), name) != done.end())
      continue;
    done.push_back(name);
    const std::vector<double>& v = name == "--translate" ? o.translate
                                   : name == "--rotate"  ? o.rotate
                                   : name == "--scale"   ? o.scale
                                                         : o.mirror;
    if (m.pos.rows() == 2)
      apply<2>(m, name, v);
    else
      apply<3>(m, name, v);
  }
  st.done(format("%zu transforms", done.size()));
  write_mesh(m, out, to, write_options());
  out.commit();
}

}  // namespace

void add_transform(CLI::App& app) {
  auto o = std::make_shared<transform_options>();
  CLI::App* c = app.add_subcommand("transform", "Translates, rotates, scales or mirrors a mesh");
  o->command = c;
  add_files(*c, o->in, &o->out, o->from, &o->to);
  c->add_option("--translate", o->translate, "x,y,z")->delimiter(',')->allow_extra_args(false);
  c->add_option("--rotate", o->rotate,
                "angle[,ax,ay,az[,cx,cy,cz]]: about the axis (default z) through the centre "
                "(default 0,0,0), counter-clockwise")
      ->delimiter(',')
      ->allow_extra_args(false);
  c->add_option("--scale", o->scale, "s[,cx,cy,cz]: about the centre (default 0,0,0)")
      ->delimiter(',')
      ->allow_extra_args(false);
  c->add_option("--mirror", o->mirror,
                "nx,ny,nz[,px,py,pz]: through the plane of that normal through the point "
                "(default 0,0,0)")
      ->delimiter(',')
      ->allow_extra_args(false);
  c->footer(
      "Each transform at most once, applied in the order given; numbers separated by "
      "commas, angles in degrees. A mirror keeps the elements' orientation.\n"
      "Example: tessellix transform part.stl moved.stl --rotate=90,1,0,0 --translate=0,0,-5");
  c->callback([o] { run(*o); });
}

}  // namespace cli
