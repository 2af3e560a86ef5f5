// The first call in a fresh process beside the median of repeated calls in
// one process, for the services a command-line tool or a script calls once:
// STL_input (binary torus of 2,000,000 triangles), NASTRAN_input (deck of
// 1,005,000 tetrahedra), medit_output and get_neighbors (the same
// tetrahedra). A first call pays for memory the process never had; the
// program runs itself once per fresh process, round after round between the
// repeated calls, so that both meet the same load.
//
// Usage: bench_cold [--rounds N] [service ...]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <unistd.h>

#include "inputs.h"
#include "qz4/tessellix/formats.h"
#include "qz4/tessellix/topology.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;

namespace {

const char* const stl_path = "/tmp/qz4_bench_cold.stlb";
const char* const deck_path = "/tmp/qz4_bench_cold.bdf";
const char* const medit_path = "/tmp/qz4_bench_cold.mesh";

double now() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// 50 x 50 x 67 cells of six tetrahedra: 1,005,000 elements, shuffled.
support::mesh tetrahedra() {
  support::mesh t = support::tetra_grid(50, 50, 67);
  support::shuffle(t, 1);
  return t;
}

void write_inputs() {
  const qz4bench::surface s = qz4bench::torus(1000, 1000);
  STL_output(stl_path, s.pos, s.tri, false);
  const support::mesh d = tetrahedra();
  qz4bench::write_tetra_deck(deck_path, d.pos, d.conn);
}

// One service: its inputs, made before the clock starts, and one call.
struct service {
  const char* name;
  double (*call)(const support::mesh& m);
};

double timed_stl(const support::mesh&) {
  dense2D<double> pos;
  dense2D<unsigned> tri;
  const double t0 = now();
  STL_input(stl_path, pos, tri, false);
  return now() - t0;
}
double timed_nastran(const support::mesh&) {
  dense2D<double> pos;
  dense2D<unsigned> conn;
  dense1D<unsigned> starts, props;
  dense1D<int> kinds;
  const double t0 = now();
  NASTRAN_input(deck_path, pos, conn, starts, kinds, props);
  return now() - t0;
}
double timed_medit(const support::mesh& m) {
  const double t0 = now();
  medit_output(medit_path, m.pos, m.conn, m.type);
  return now() - t0;
}
double timed_neighbors(const support::mesh& m) {
  dense2D<unsigned> nb;
  const double t0 = now();
  get_neighbors(m.conn, m.type, false, nb);
  return now() - t0;
}

const service services[] = {{"STL_input", timed_stl},
                            {"NASTRAN_input", timed_nastran},
                            {"medit_output", timed_medit},
                            {"get_neighbors", timed_neighbors}};

bool needs_mesh(const service& s) { return s.call == timed_medit || s.call == timed_neighbors; }

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const std::size_t n = v.size();
  return n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
}

// The first call of a fresh process running this program.
double first_call(const char* self, const service& s) {
  const std::string command = std::string(self) + " --first " + s.name;
  std::FILE* p = popen(command.c_str(), "r");
  double t = -1;
  if (p && std::fscanf(p, "%lf", &t) != 1) t = -1;
  if (p) pclose(p);
  return t;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && !std::strcmp(argv[1], "--first")) {
    for (const service& s : services)
      if (!std::strcmp(argv[2], s.name)) {
        const support::mesh m = needs_mesh(s) ? tetrahedra() : support::mesh();
        std::printf("%.6f\n", s.call(m));
        return 0;
      }
    return 1;
  }
  unsigned rounds = 5;
  std::vector<std::string> chosen;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--rounds") && i + 1 < argc)
      rounds = unsigned(std::atoi(argv[++i]));
    else
      chosen.push_back(argv[i]);
  }
  char self[4096] = {};
  if (readlink("/proc/self/exe", self, sizeof self - 1) <= 0) return 1;
  write_inputs();
  const support::mesh m = tetrahedra();
  std::printf("first call in a fresh process against the median of repeated calls, %u rounds\n",
              rounds);
  std::printf("  %-16s %10s %10s %8s\n", "", "first (s)", "warm (s)", "ratio");
  for (const service& s : services) {
    if (!chosen.empty() && std::find(chosen.begin(), chosen.end(), s.name) == chosen.end())
      continue;
    s.call(m);  // the warm calls follow one untimed call
    std::vector<double> first, warm;
    for (unsigned r = 0; r < rounds; ++r) {
      first.push_back(first_call(self, s));
      warm.push_back(s.call(m));
    }
    const double f = median(first), w = median(warm);
    std::printf("  %-16s %10.3f %10.3f %8.2f\n", s.name, f, w, f / w);
  }
  std::remove(stl_path);
  std::remove(deck_path);
  std::remove(medit_path);
  return 0;
}
