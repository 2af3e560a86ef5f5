// tessellix info: what a mesh file holds, in words or as one JSON object.
#include <CLI/CLI.hpp>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <memory>

#include "tool.h"

namespace cli {

using namespace qz4;
using namespace qz4::tessellix;

namespace {

struct info_options {
  std::string file, from;
  bool json = false;
};

struct topology {
  unsigned parts = 0, boundary = 0, non_manifold = 0;
};

// Parts and open boundary of the elements of the highest dimension; on a
// surface, an edge that more than two faces share is non-manifold, and its
// sides come out of the boundary once per face.
topology measure_topology(const top_view& v) {
  stage st("topology");
  topology t;
  if (v.dimension == 0) return t;
  dense2D<unsigned> neighbors, open;
  dense1D<unsigned> elements, starts;
  check_status(get_neighbors(v.conn, v.kind, false, neighbors), "finding the neighbours");
  check_status(get_subdomains(neighbors, elements, starts), "finding the parts");
  check_status(get_mesh_boundaries(v.conn, neighbors, v.kind, open), "finding the boundary");
  t.parts = starts.size() - 1;
  t.boundary = open.cols();
  if (v.dimension == 2) {
    dense1D<unsigned> first_match, unused;
    check_status(get_IDs(open, open, first_match, unused, false), "matching the boundary edges");
    dense1D<unsigned> sides(open.cols(), 0u);
    for (unsigned e = 0; e < open.cols(); ++e) ++sides[first_match[e]];
    t.boundary = 0;
    for (unsigned e = 0; e < open.cols(); ++e)
      if (sides[e] == 1)
        ++t.boundary;
      else if (sides[e] > 1)
        ++t.non_manifold;
  }
  st.done(format("%u parts, %u open", t.parts, t.boundary));
  return t;
}

const char* const boundary_words[4] = {"", "open ends", "open edges", "open faces"};
const char* const element_words[4] = {"", "lines", "faces", "solids"};

// A number for JSON, which has no infinities and no NaN.
std::string json_number(double v) { return std::isfinite(v) ? format("%.17g", v) : "null"; }

std::string json_string(const std::string& text) {
  std::string s = "\"";
  for (unsigned char c : text)
    if (c == '"' || c == '\\')
      s += std::string("\\") + char(c);
    else if (c < 0x20)
      s += format("\\u%04x", c);
    else
      s += char(c);
  return s + "\"";
}

void run(const info_options& o) {
  const file_format f = format_of(o.file, o.from, "--from");
  const mesh m = read_mesh(o.file, f);
  const unsigned dim = m.pos.rows();

  // Bounding box of all nodes, in 3D (z = 0 for a plane mesh).
  vector_fixed<double, 3> lo, hi;
  lo = DBL_MAX, hi = -DBL_MAX;
  if (dim == 3) {
    inc_bounding_box(m.pos, lo, hi);
  } else if (dim == 2 && m.pos.cols()) {
    vector_fixed<double, 2> lo2, hi2;
    lo2 = DBL_MAX, hi2 = -DBL_MAX;
    inc_bounding_box(m.pos, lo2, hi2);
    lo = 0.0, hi = 0.0;
    for (unsigned r = 0; r < 2; ++r) lo[r] = lo2[r], hi[r] = hi2[r];
  }
  const bool box = lo[0] <= hi[0];

  const int used = count_unique_indices(m.conn.data(), m.conn.data() + m.conn.size());
  const top_view v = top_elements(m);
  const topology t = measure_topology(v);

  stage st("quality");
  misc::histogram h(0.0, 1.0, 10);
  for (std::size_t b = 0; b < m.conn.size(); ++b) {
    const element_type k = linear_kind(m.kind[b]);
    if (kind_dimension(k) != v.dimension || v.dimension < 2) continue;
    const dense2D<unsigned> corners =
        m.conn[b].sub_matrix(0, 0, element_corners[k], m.conn[b].cols());
    check_status(shape_qualities(m.pos, corners, k, h), "measuring the elements");
  }
  st.done(format("%lu elements measured", h.count()));
  const bool measured = h.count() > h.nan_count();

  std::string kinds;
  for (int k = 0; k < 21; ++k) {
    unsigned n = 0;
    for (std::size_t b = 0; b < m.conn.size(); ++b)
      if (m.kind[b] == k) n += m.conn[b].cols();
    if (!n) continue;
    if (o.json)
      kinds += format("%s\"%s\": %u", kinds.empty() ? "" : ", ", kind_name(element_type(k)), n);
    else
      kinds += format("%s%u %s", kinds.empty() ? "" : ", ", n, kind_name(element_type(k)));
  }

  if (o.json) {
    std::printf(
        "{\"file\": %s, \"format\": \"%s\", \"nodes\": %u, \"unused_nodes\": %u, "
        "\"elements\": {%s}, \"skipped_cells\": %u, \"parts\": %u, \"boundary\": %u, "
        "\"non_manifold\": %u, ",
        json_string(o.file).c_str(), m.variety.c_str(), m.pos.cols(), m.pos.cols() - unsigned(used),
        kinds.c_str(), m.skipped, t.parts, t.boundary, t.non_manifold);
    if (measured)
      std::printf("\"quality\": {\"min\": %s, \"mean\": %s, \"max\": %s}, ",
                  json_number(h.min()).c_str(), json_number(h.mean()).c_str(),
                  json_number(h.max()).c_str());
    else
      std::printf("\"quality\": null, ");
    if (box)
      std::printf("\"bounding_box\": [[%s, %s, %s], [%s, %s, %s]]}\n", json_number(lo[0]).c_str(),
                  json_number(lo[1]).c_str(), json_number(lo[2]).c_str(),
                  json_number(hi[0]).c_str(), json_number(hi[1]).c_str(),
                  json_number(hi[2]).c_str());
    else
      std::printf("\"bounding_box\": null}\n");
    return;
  }
  std::printf("file          %s (%s)\n", o.file.c_str(), m.variety.c_str());
  std::printf("nodes         %u", m.pos.cols());
  if (m.pos.cols() > unsigned(used)) std::printf(" (%u used by no element)", m.pos.cols() - used);
  std::printf("\nelements      %s\n", kinds.empty() ? "none" : kinds.c_str());
  if (m.skipped) std::printf("skipped       %u cells of kinds with no element here\n", m.skipped);
  if (box)
    std::printf("bounding box  %g %g %g to %g %g %g\n", lo[0], lo[1], lo[2], hi[0], hi[1], hi[2]);
  if (v.dimension) {
    std::printf("parts         %u (connected sets of %s)\n", t.parts, element_words[v.dimension]);
    std::printf("boundary      %u %s", t.boundary, boundary_words[v.dimension]);
    if (v.dimension == 2) std::printf(", %u non-manifold edges", t.non_manifold);
    std::printf("\n");
  }
  if (measured)
    std::printf("quality       min %.4g  mean %.4g  max %.4g  over %lu %s\n%s", h.min(), h.mean(),
                h.max(), h.count(), element_words[v.dimension], bar_chart(h).c_str());
}

}  // namespace

void add_info(CLI::App& app) {
  auto o = std::make_shared<info_options>();
  CLI::App* c = app.add_subcommand(
      "info",
      "What a mesh file holds: nodes, elements per kind, bounding box, parts, open "
      "boundary and shape quality");
  add_files(*c, o->file, nullptr, o->from, nullptr);
  c->add_flag("--json", o->json, "One JSON object on stdout");
  c->footer("Example: tessellix info part.stl --json");
  c->callback([o] { run(*o); });
}

}  // namespace cli
