// tessellix quality: shape quality per kind, the worst elements, and the
// quality of every element for a viewer.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>

#include "tool.h"

namespace cli {

using namespace qz4;
using namespace qz4::tessellix;

namespace {

struct quality_options {
  std::string in, from, out;
  unsigned worst = 10;
};

// The worst quality of the elements around each node, 1 where none was
// measured: what a MEDIT solution, which holds values at vertices, can show.
dense1D<double> node_quality(const mesh& m, const std::vector<dense1D<double>>& q) {
  dense1D<double> w;
  if (!w.resize(m.pos.cols(), 1.0)) check_status(-199, "gathering the qualities");
  for (std::size_t b = 0; b < m.conn.size(); ++b) {
    const dense2D<unsigned>& c = m.conn[b];
    for (unsigned e = 0; e < q[b].size(); ++e)
      for (unsigned r = 0; r < c.rows(); ++r) w[c(r, e)] = std::min(w[c(r, e)], q[b][e]);
  }
  return w;
}

void run(const quality_options& o) {
  const file_format f = format_of(o.in, o.from, "--from");
  file_format to = file_format::none;
  if (!o.out.empty()) {
    to = format_of(o.out, "", "a .vtk or .sol file to --out");
    if (to != file_format::vtk && to != file_format::medit_solution)
      fail(usage, "--out takes a .vtk file (cell data) or a .sol file (a MEDIT solution)");
    refuse_same_file(o.in, o.out);
  }
  std::unique_ptr<output_file> out(to == file_format::none ? nullptr : new output_file(o.out, to));
  const mesh m = read_mesh(o.in, f);

  stage st("quality");
  const std::vector<dense1D<double>> q = block_qualities(m);
  // Elements are numbered from 0 over the blocks in the reader's order.
  std::vector<std::pair<double, unsigned>> worst;
  unsigned id = 0, measured = 0;
  for (int k = 0; k < 21; ++k) {
    misc::histogram h(0.0, 1.0, 10);
    for (std::size_t b = 0; b < m.conn.size(); ++b)
      if (m.kind[b] == k) h.process(q[b]);
    if (h.count() == 0) continue;
    measured += h.count();
    std::printf("%s: %lu elements, min %.4g  mean %.4g  max %.4g\n%s", kind_name(element_type(k)),
                h.count(), h.min(), h.mean(), h.max(), bar_chart(h).c_str());
  }
  for (std::size_t b = 0; b < m.conn.size(); ++b) {
    for (unsigned e = 0; e < q[b].size(); ++e) {
      if (std::isnan(q[b][e])) continue;  // counted apart in the histogram
      worst.emplace_back(q[b][e], id + e);
      if (worst.size() > 4 * std::size_t(o.worst) + 64) {  // keep the list short as it grows
        std::nth_element(worst.begin(), worst.begin() + o.worst, worst.end());
        worst.resize(o.worst);
      }
    }
    id += m.conn[b].cols();
  }
  std::sort(worst.begin(), worst.end());
  if (worst.size() > o.worst) worst.resize(o.worst);
  if (measured == 0)
    std::printf("no element with a shape quality (only faces and solids have one)\n");
  if (!worst.empty())
    std::printf("worst %zu elements (ID counted from 0 over the elements in the reader's order):\n",
                worst.size());
  for (const auto& w : worst) {
    unsigned b = 0, first = 0;
    while (w.second >= first + m.conn[b].cols()) first += m.conn[b++].cols();
    std::printf("  %10u  %-8s %.6g\n", w.second, kind_name(m.kind[b]), w.first);
  }
  st.done(format("%u elements measured", measured));
  if (!out) return;

  stage write("write");
  const int s = to == file_format::vtk
                    ? write_vtk(m, out->temp(), &q)
                    : medit_scalar(out->temp(), m.pos.rows(), node_quality(m, q));
  if (s < 0)
    fail(file_error,
         format("cannot write %s (%s): %s", o.out.c_str(), format_name(to),
                s == -199 ? memory_words().c_str() : "writing failed (is the disk full?)"));
  out->commit();
  write.done(format("%s (%s)", o.out.c_str(), format_name(to)));
}

}  // namespace

void add_quality(CLI::App& app) {
  auto o = std::make_shared<quality_options>();
  CLI::App* c =
      app.add_subcommand("quality", "Shape quality histograms per kind and the worst elements");
  add_files(*c, o->in, nullptr, o->from, nullptr);
  c->add_option("--out", o->out,
                "Also write the quality for a viewer: .vtk (the mesh with the quality as cell "
                "data) or .sol (a MEDIT solution: the worst quality around each node)");
  c->add_option("--worst", o->worst, "How many of the worst elements to list")
      ->capture_default_str();
  c->footer(
      "Shape quality is 1 for the ideal element, 0 for a flat one and below 0 for an "
      "inverted one; quadratic elements are measured by their corners, lines not at all.\n"
      "Example: tessellix quality volume.mesh --out quality.vtk");
  c->callback([o] { run(*o); });
}

}  // namespace cli
