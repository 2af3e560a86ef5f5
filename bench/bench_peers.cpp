// The library against specialists at their own jobs, timed in one process,
// round after round, each contender once a round, so that both meet the same
// load; medians of the rounds, wall clock and processor time.
//
//   stl      binary STL_input of a 2,000,000-triangle torus, read and welded,
//            against admesh's read plus exact shared-vertex generation
//            (stl_open, stl_check_facets_exact, stl_generate_shared_vertices),
//            and the weld alone (merge, remove_degenerated, simplify) of the
//            6,000,000-node soup
//   closest  1,000,000 closest-node queries on 1,000,000 random nodes: one
//            at a time, in one batch, and with nanoflann's one-point-per-leaf
//            tree, one at a time
//
// Usage: bench_peers [stl] [closest] [--rounds N]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "inputs.h"
#include "qz4/tessellix/editing.h"
#include "qz4/tessellix/formats.h"

#ifdef QZ4_HAVE_ADMESH
#include <admesh/stl.h>
#endif
#ifdef QZ4_HAVE_NANOFLANN
#include <nanoflann.hpp>
#endif

using namespace qz4;
using namespace qz4::tessellix;

namespace {

struct sample {
  double wall, cpu;
};

double clock_of(clockid_t id) {
  timespec t;
  clock_gettime(id, &t);
  return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// One contender: a name and a call that returns the seconds it wants counted
// (the whole call when it returns a negative value).
struct contender {
  std::string name;
  std::function<void()> prepare;  // untimed, before each timed call
  std::function<void()> run;
  std::vector<sample> samples;
};

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const std::size_t n = v.size();
  return n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
}

void run_rounds(std::vector<contender>& cs, unsigned rounds) {
  for (unsigned r = 0; r < rounds; ++r)
    for (contender& c : cs) {
      if (c.prepare) c.prepare();
      const double w0 = clock_of(CLOCK_MONOTONIC), c0 = clock_of(CLOCK_PROCESS_CPUTIME_ID);
      c.run();
      c.samples.push_back(
          {clock_of(CLOCK_MONOTONIC) - w0, clock_of(CLOCK_PROCESS_CPUTIME_ID) - c0});
    }
}

void report(const std::vector<contender>& cs, const char* base) {
  double base_wall = 0, base_cpu = 0;
  for (const contender& c : cs)
    if (c.name == base) {
      std::vector<double> w, p;
      for (const sample& s : c.samples) w.push_back(s.wall), p.push_back(s.cpu);
      base_wall = median(w), base_cpu = median(p);
    }
  std::printf("  %-34s %10s %10s %9s %9s\n", "", "wall (s)", "cpu (s)", "wall/ref", "cpu/ref");
  for (const contender& c : cs) {
    std::vector<double> w, p;
    for (const sample& s : c.samples) w.push_back(s.wall), p.push_back(s.cpu);
    const double mw = median(w), mp = median(p);
    std::printf("  %-34s %10.3f %10.3f %9.2f %9.2f\n", c.name.c_str(), mw, mp,
                base_wall > 0 ? mw / base_wall : 0.0, base_cpu > 0 ? mp / base_cpu : 0.0);
  }
}

void stl_round(unsigned rounds) {
  const char* path = "/tmp/qz4_bench_peers.stlb";
  {
    const qz4bench::surface s = qz4bench::torus(1000, 1000);
    STL_output(path, s.pos, s.tri, false);
  }
  std::vector<contender> cs;
  int ours = 0;
  cs.push_back({"STL_input (read and weld)",
                nullptr,
                [&] {
                  dense2D<double> pos;
                  dense2D<unsigned> tri;
                  ours = STL_input(path, pos, tri, false);
                },
                {}});
#ifdef QZ4_HAVE_ADMESH
  int theirs = 0;
  cs.push_back({"admesh (read, exact, shared)",
                nullptr,
                [&] {
                  stl_file stl;
                  stl_open(&stl, const_cast<char*>(path));
                  stl_check_facets_exact(&stl);
                  stl_generate_shared_vertices(&stl);
                  theirs = stl.stats.shared_vertices;
                  stl_close(&stl);
                },
                {}});
#endif
  // The soup as the reader makes it, welded as the reader welds it.
  dense2D<double> soup_pos, pos;
  dense2D<unsigned> soup_tri, tri;
  {
    const qz4bench::surface s = qz4bench::torus(1000, 1000);
    const unsigned ne = s.tri.cols();
    soup_pos.resize(3, 3 * ne);
    soup_tri.resize(3, ne);
    for (unsigned e = 0; e < ne; ++e)
      for (unsigned k = 0; k < 3; ++k) {
        for (unsigned i = 0; i < 3; ++i) soup_pos(i, 3 * e + k) = float(s.pos(i, s.tri(k, e)));
        soup_tri(k, e) = 3 * e + k;
      }
  }
  cs.push_back({"weld alone (merge, clean-up)",
                [&] {
                  pos.copy(soup_pos);
                  tri.copy(soup_tri);
                },
                [&] {
                  dense1D<unsigned> map;
                  merge(pos, tri, map, 1e-4, 0);
                  remove_degenerated(tri, map, true);
                  simplify(pos, tri, map, 0);
                },
                {}});
  run_rounds(cs, rounds);
  std::printf("binary STL of a torus, 2,000,000 triangles, median of %u rounds:\n", rounds);
  report(cs, "admesh (read, exact, shared)");
  std::printf("  triangles: ours %d", ours);
#ifdef QZ4_HAVE_ADMESH
  std::printf(", admesh shared vertices %d", theirs);
#else
  std::printf(" (admesh not found: no comparison)");
#endif
  std::printf(", welded nodes %u\n", pos.cols());
  std::remove(path);
}

#ifdef QZ4_HAVE_NANOFLANN
using qz4bench::cloud_adaptor;
typedef nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, cloud_adaptor>,
                                            cloud_adaptor, 3, unsigned>
    nano_tree;
#endif

void closest_round(unsigned rounds) {
  const unsigned n = 1000000;
  dense2D<double> nodes(3, n), queries(3, n);
  std::mt19937 g(1);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (unsigned i = 0; i < 3 * n; ++i) nodes.data()[i] = u(g);
  for (unsigned i = 0; i < 3 * n; ++i) queries.data()[i] = u(g);
  node_detector d(nodes);
  std::vector<unsigned> one(n);
  dense1D<unsigned> batch;
  std::vector<contender> cs;
  cs.push_back({"find_closest, one at a time",
                nullptr,
                [&] {
                  for (unsigned j = 0; j < n; ++j)
                    one[j] = unsigned(d.find_closest(
                        vector_fixed<double, 3>{{queries(0, j), queries(1, j), queries(2, j)}}));
                },
                {}});
  cs.push_back({"find_closest, batch", nullptr, [&] { d.find_closest(queries, batch); }, {}});
#ifdef QZ4_HAVE_NANOFLANN
  const cloud_adaptor a{&nodes};
  nano_tree t(3, a, nanoflann::KDTreeSingleIndexAdaptorParams(1));
  t.buildIndex();
  cs.push_back({"nanoflann, leaf 1, one at a time",
                nullptr,
                [&] {
                  unsigned long sum = 0;
                  for (unsigned j = 0; j < n; ++j) {
                    unsigned idx = 0;
                    double d2 = 0;
                    const double q[3] = {queries(0, j), queries(1, j), queries(2, j)};
                    t.knnSearch(q, 1, &idx, &d2);
                    sum += idx;
                  }
                  if (sum == 1) std::printf(" ");
                },
                {}});
#endif
  run_rounds(cs, rounds);
  std::printf("1,000,000 queries on 1,000,000 random nodes, median of %u rounds:\n", rounds);
  report(cs, "find_closest, one at a time");
  unsigned differ = 0;
  for (unsigned j = 0; j < n; ++j) differ += batch[j] != one[j];
  std::printf("  batch answers differing from single ones: %u%s\n", differ,
#ifdef QZ4_HAVE_NANOFLANN
              ""
#else
              " (nanoflann not found: no comparison)"
#endif
  );
}

}  // namespace

int main(int argc, char** argv) {
  unsigned rounds = 5;
  bool stl = false, closest = false;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--rounds") && i + 1 < argc)
      rounds = unsigned(std::atoi(argv[++i]));
    else if (!std::strcmp(argv[i], "stl"))
      stl = true;
    else if (!std::strcmp(argv[i], "closest"))
      closest = true;
  }
  if (!stl && !closest) stl = closest = true;
  if (stl) stl_round(rounds);
  if (closest) closest_round(rounds);
  return 0;
}
