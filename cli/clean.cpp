// tessellix clean: merges coincident nodes, drops the elements that collapse
// and the nodes that no element uses.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "tool.h"

namespace cli {

using namespace qz4;
using namespace qz4::tessellix;

namespace {

struct clean_options {
  std::string in, out, from, to;
  double tolerance = -1;  // not given
};

void run(const clean_options& o) {
  const file_format from = format_of(o.in, o.from, "--from"), to = format_of(o.out, o.to, "--to");
  refuse_same_file(o.in, o.out);
  output_file out(o.out, to);
  mesh m = read_mesh(o.in, from);
  dense2D<unsigned>* first = m.conn.data();
  dense2D<unsigned>* last = first + m.conn.size();

  // The STL reader has welded within 5% of the smallest triangle height
  // already; elsewhere only nodes at the very same place merge, unless a
  // tolerance is given.
  stage weld("weld");
  int merged = 0;
  if (o.tolerance >= 0 || from != file_format::stl) {
    dense1D<unsigned> node_map;
    merged = merge(m.pos, first, last, node_map, o.tolerance >= 0 ? o.tolerance : 0.0, 0);
    check_status(merged, "merging the nodes");
  }
  weld.done(format("%d nodes merged", merged));

  stage simplify_stage("simplify");
  unsigned dropped = 0;
  for (std::size_t b = 0; b < m.conn.size(); ++b) {
    dense1D<unsigned> element_map;
    const int gone = remove_degenerated(m.conn[b], element_map, false);
    check_status(gone, "removing the degenerate elements");
    dropped += unsigned(gone);
    // The numbers of the elements that stay follow them.
    dense1D<unsigned>& g = m.groups[b];
    if (gone && g.size() == element_map.size()) {
      for (unsigned e = 0; e < g.size(); ++e)
        if (element_map[e] != NO_ID) g[element_map[e]] = g[e];
      g.resize(m.conn[b].cols());
    }
  }
  dense1D<unsigned> node_map;
  const int removed = simplify(m.pos, first, last, node_map, 0);
  check_status(removed, "removing the unused nodes");
  simplify_stage.done(format("%u elements and %d nodes dropped", dropped, removed));

  write_mesh(m, out, to, write_options());
  out.commit();
  std::printf("merged %d nodes%s, dropped %u degenerate elements, removed %d unused nodes: %s\n",
              merged,
              o.tolerance >= 0           ? format(" (tolerance %g)", o.tolerance).c_str()
              : from == file_format::stl ? " (the STL reader welds by itself)"
                                         : " (exactly coincident)",
              dropped, removed, mesh_words(m).c_str());
}

}  // namespace

void add_clean(CLI::App& app) {
  auto o = std::make_shared<clean_options>();
  CLI::App* c = app.add_subcommand(
      "clean", "Merges coincident nodes, drops collapsed elements and unused nodes");
  add_files(*c, o->in, &o->out, o->from, &o->to);
  c->add_option("--tolerance", o->tolerance,
                "Nodes closer than this merge (default: exactly coincident ones; an STL file is "
                "welded by its reader within 5% of its smallest triangle height)")
      ->check(CLI::NonNegativeNumber);
  c->footer(
      "Elements that name a node twice after the merge are removed, then the nodes that no "
      "element uses; the result goes to OUT.\n"
      "Example: tessellix clean scan.stl scan_clean.stl --tolerance 1e-4");
  c->callback([o] { run(*o); });
}

}  // namespace cli
