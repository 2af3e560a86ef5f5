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

#include <sys/resource.h>
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

// Wall clock, processor time and page faults of a call.
struct cost {
  double wall, cpu, faults;
};

struct meter {
  timespec w, c;
  long faults;
  meter() {
    clock_gettime(CLOCK_MONOTONIC, &w);
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &c);
    faults = minor_faults();
  }
  static long minor_faults() {
    rusage u;
    getrusage(RUSAGE_SELF, &u);
    return u.ru_minflt;
  }
  static double seconds(const timespec& a, const timespec& b) {
    return double(b.tv_sec - a.tv_sec) + 1e-9 * double(b.tv_nsec - a.tv_nsec);
  }
  cost stop() const {
    timespec w2, c2;
    clock_gettime(CLOCK_MONOTONIC, &w2);
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &c2);
    return cost{seconds(w, w2), seconds(c, c2), double(minor_faults() - faults)};
  }
};

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
  cost (*call)(const support::mesh& m);
};

cost timed_stl(const support::mesh&) {
  dense2D<double> pos;
  dense2D<unsigned> tri;
  const meter m;
  STL_input(stl_path, pos, tri, false);
  return m.stop();
}
cost timed_nastran(const support::mesh&) {
  dense2D<double> pos;
  dense2D<unsigned> conn;
  dense1D<unsigned> starts, props;
  dense1D<int> kinds;
  const meter m;
  NASTRAN_input(deck_path, pos, conn, starts, kinds, props);
  return m.stop();
}
cost timed_medit(const support::mesh& mesh) {
  const meter m;
  medit_output(medit_path, mesh.pos, mesh.conn, mesh.type);
  return m.stop();
}
cost timed_neighbors(const support::mesh& mesh) {
  dense2D<unsigned> nb;
  const meter m;
  get_neighbors(mesh.conn, mesh.type, false, nb);
  return m.stop();
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
cost first_call(const char* self, const service& s) {
  const std::string command = std::string(self) + " --first " + s.name;
  std::FILE* p = popen(command.c_str(), "r");
  cost c{-1, -1, -1};
  if (p && std::fscanf(p, "%lf %lf %lf", &c.wall, &c.cpu, &c.faults) != 3) c = cost{-1, -1, -1};
  if (p) pclose(p);
  return c;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && !std::strcmp(argv[1], "--first")) {
    for (const service& s : services)
      if (!std::strcmp(argv[2], s.name)) {
        const support::mesh m = needs_mesh(s) ? tetrahedra() : support::mesh();
        const cost c = s.call(m);
        std::printf("%.6f %.6f %.0f\n", c.wall, c.cpu, c.faults);
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
  std::printf("  %-15s %19s %19s %13s %17s\n", "", "wall first / warm", "cpu first / warm",
              "ratio w / c", "faults f / w");
  for (const service& s : services) {
    if (!chosen.empty() && std::find(chosen.begin(), chosen.end(), s.name) == chosen.end())
      continue;
    s.call(m);  // the warm calls follow one untimed call
    std::vector<double> fw, fc, ff, ww, wc, wf;
    for (unsigned r = 0; r < rounds; ++r) {
      const cost f = first_call(self, s), w = s.call(m);
      fw.push_back(f.wall), fc.push_back(f.cpu), ff.push_back(f.faults);
      ww.push_back(w.wall), wc.push_back(w.cpu), wf.push_back(w.faults);
    }
    const double a = median(fw), b = median(ww), c = median(fc), d = median(wc);
    std::printf("  %-15s %9.3f %9.3f %9.3f %9.3f %6.2f %6.2f %8.0f %8.0f\n", s.name, a, b, c, d,
                a / b, c / d, median(ff), median(wf));
  }
  std::remove(stl_path);
  std::remove(deck_path);
  std::remove(medit_path);
  return 0;
}
