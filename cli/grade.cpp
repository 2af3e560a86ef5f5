// tessellix grade: a size field read from a MEDIT solution, repaired,
// bounded and graded over a mesh, with the H-shock before and after.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <memory>

#include "tool.h"

namespace cli {

using namespace qz4;
using namespace qz4::tessellix;

namespace {

struct grade_options {
  std::string mesh, sizes, out, from;
  double gradation = 0.3, hmin = 0, hmax = 0;
};

const char* const solution_words[] = {
    "", "it cannot be opened",
    "not a MEDIT solution: no SolAtVertices section, a dimension other than 2 or 3, or a field "
    "type other than 1, 2 or 3",
    "cut short or corrupt"};

const char* const gradation_words[] = {"",
                                       "the coordinates have neither 2 nor 3 rows",
                                       "the elements do not fit the nodes",
                                       "",
                                       "",
                                       "the gradation is not above 0",
                                       "the field has too few values for the mesh"};

// The field being graded: sizes, or tensors of 3 (2D) or 6 (3D) rows.
struct field {
  dense1D<double> H;
  dense2D<double> M;
  bool tensors = false;
};

double largest_shock(const dense2D<double>& pos, const dense2D<unsigned>& edges, const field& f) {
  dense1D<double> shocks;
  const int s = f.tensors ? H_shock(pos, edges, f.M, shocks) : H_shock(pos, edges, f.H, shocks);
  check_status(s, "measuring the H-shock");
  return shocks.size() ? *std::max_element(shocks.begin(), shocks.end()) : 0.0;
}

field read_field(const std::string& path, const mesh& m) {
  stage st("read");
  const std::string why = open_error(path);
  dense1D<dense2D<double>> fields;
  dense1D<int> kinds;
  const int n = why.empty() ? medit_solution_input(path.c_str(), fields, kinds) : -1;
  auto refuse = [&](const std::string& reason) {
    fail(file_error, format("cannot read %s (MEDIT solution): %s", path.c_str(), reason.c_str()));
  };
  if (!why.empty()) refuse(why);
  if (n == -199) refuse(memory_words());
  if (n < 0) refuse(n >= -3 ? solution_words[-n] : format("status %d", n));
  if (unsigned(n) != m.pos.cols() || fields.size() == 0)
    refuse(format("it holds %d values and the mesh has %u nodes", n, m.pos.cols()));
  field f;
  const dense2D<double>& values = fields[0];
  if (kinds[0] == 1) {
    if (!f.H.resize(values.cols())) check_status(-199, "reading the sizes");
    for (unsigned i = 0; i < values.cols(); ++i) f.H[i] = values(0, i);
  } else if (kinds[0] == 3 && values.rows() == (m.pos.rows() == 2 ? 3u : 6u)) {
    f.M = values;
    f.tensors = true;
  } else {
    refuse(format("its first field is not a size field of the mesh: %s",
                  kinds[0] == 3 ? "tensors of another dimension" : "vectors"));
  }
  st.done(format("%s (MEDIT solution): %u %s", path.c_str(), values.cols(),
                 f.tensors ? "tensors" : "sizes"));
  return f;
}

void run(const grade_options& o) {
  const file_format f = format_of(o.mesh, o.from, "--from");
  if (format_of(o.sizes, "", "a .sol file as SIZES") != file_format::medit_solution)
    fail(usage, "SIZES must be a MEDIT solution (.sol or .solb)");
  if (format_of(o.out, "", "a .sol file as OUT") != file_format::medit_solution)
    fail(usage, "OUT must be a MEDIT solution (.sol)");
  refuse_same_file(o.mesh, o.out);
  refuse_same_file(o.sizes, o.out);
  output_file out(o.out, file_format::medit_solution);
  const mesh m = read_mesh(o.mesh, f);
  field F = read_field(o.sizes, m);

  // The elements graded over: the one block of the highest dimension with all
  // its nodes, or the corners of all of them.
  const top_view v = top_elements(m);
  dense2D<unsigned> elements = v.conn;
  element_type kind = v.kind;
  unsigned blocks = 0;
  for (std::size_t b = 0; b < m.conn.size(); ++b)
    if (m.conn[b].cols() && kind_dimension(m.kind[b]) == v.dimension && v.dimension)
      ++blocks, elements = m.conn[b], kind = m.kind[b];
  if (blocks != 1) elements = v.conn, kind = v.kind;
  if (v.dimension == 0)
    fail(file_error, format("cannot grade over %s: it has no element", o.mesh.c_str()));

  // Sizes that are not above 0 (or not numbers), and tensors that are not
  // positive definite, take the mean length of the edges at their node.
  stage repair("repair");
  dense2D<unsigned> edges;
  dense2D<double> lengths;
  check_status(copy_edges(v.conn, v.kind, edges), "listing the edges");
  check_status(edge_lengths(m.pos, edges, lengths), "measuring the edges");
  dense1D<double> reference(m.pos.cols());
  for (unsigned n = 0; n < reference.size(); ++n)
    reference[n] = lengths.empty() ? 0 : lengths(1, n);
  unsigned invalid = 0;
  if (F.tensors) {
    for (unsigned n = 0; n < F.M.cols(); ++n) {
      bool valid;
      if (F.M.rows() == 3) {
        metric2 t;
        for (unsigned r = 0; r < 3; ++r) t[r] = F.M(r, n);
        valid = is_valid_metric(t);
      } else {
        metric3 t;
        for (unsigned r = 0; r < 6; ++r) t[r] = F.M(r, n);
        valid = is_valid_metric(t);
      }
      invalid += !valid;
    }
    check_status(overwrite_invalid_metrics(F.M, reference), "repairing the tensors");
    if (o.hmin > 0 || o.hmax > 0)
      check_status(bound_metrics(F.M, o.hmin, o.hmax), "bounding the tensors");
  } else {
    for (double& h : F.H)
      if (!(h > 0) || !std::isfinite(h)) ++invalid, h = 0;
    check_status(overwrite_invalid_metrics(F.H, reference), "repairing the sizes");
    if (o.hmin > 0 || o.hmax > 0) bound_metrics(F.H, o.hmin, o.hmax > 0 ? o.hmax : DBL_MAX);
  }
  repair.done(format("%u invalid values replaced", invalid));

  stage grading("grade");
  const double before = largest_shock(m.pos, edges, F);
  const dense1D<unsigned> no_hard_nodes;
  const int changes =
      F.tensors ? bound_metric_gradation(m.pos, elements, kind, no_hard_nodes, o.gradation, F.M)
                : bound_metric_gradation(m.pos, elements, kind, no_hard_nodes, o.gradation, F.H);
  if (changes == -199) check_status(changes, "grading the field");
  if (changes < 0)
    fail(file_error, format("cannot grade %s over %s: %s", o.sizes.c_str(), o.mesh.c_str(),
                            -changes <= 6 ? gradation_words[-changes] : "the library refused"));
  const double after = largest_shock(m.pos, edges, F);
  grading.done(format("%d changes", changes));

  stage write("write");
  const int s =
      F.tensors ? medit_tensor(out.temp(), F.M) : medit_scalar(out.temp(), m.pos.rows(), F.H);
  if (s < 0)
    fail(file_error, format("cannot write %s (MEDIT solution): writing failed", o.out.c_str()));
  out.commit();
  write.done(o.out + " (MEDIT solution)");
  std::printf("field         %u %s, %u invalid replaced by the mean edge length at their node\n",
              m.pos.cols(), F.tensors ? "tensors" : "sizes", invalid);
  if (o.hmin > 0 || o.hmax > 0)
    std::printf("bounds        sizes from %g to %g\n", o.hmin, o.hmax > 0 ? o.hmax : INFINITY);
  std::printf("H-shock       largest %.4g before, %.4g after grading to %g (%d changes)\n", before,
              after, o.gradation, changes);
}

}  // namespace

void add_grade(CLI::App& app) {
  auto o = std::make_shared<grade_options>();
  CLI::App* c = app.add_subcommand("grade", "Repairs, bounds and grades a size field over a mesh");
  c->add_option("MESH", o->mesh, "Mesh file")->required();
  c->add_option("SIZES", o->sizes, "MEDIT solution at the nodes of MESH")->required();
  c->add_option("OUT", o->out, "MEDIT solution to write")->required();
  c->add_option("--gradation", o->gradation, "Largest H-shock between neighbours")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  c->add_option("--hmin", o->hmin, "Smallest size")->check(CLI::PositiveNumber);
  c->add_option("--hmax", o->hmax, "Largest size")->check(CLI::PositiveNumber);
  c->add_option("--from", o->from, "Format of MESH when its extension does not tell");
  c->footer(
      "SIZES is a MEDIT solution of sizes or tensors at the nodes of MESH. Values that are "
      "not valid take the mean length of the edges at their node; the field is bounded, then "
      "graded so that sizes vary by at most the gradation per unit of length in the field "
      "(the H-shock), and written to OUT.\n"
      "Example: tessellix grade part.mesh sizes.sol graded.sol --gradation 0.2 --hmin 0.01");
  c->callback([o] { run(*o); });
}

}  // namespace cli
