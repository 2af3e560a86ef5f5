// Speed of the node detector and of node merging on large inputs: building
// over 1,000,000 points, 1,000,000 closest-node queries, small box searches,
// and the welding of a 2,000,000-triangle soup. With nanoflann at hand, the
// same points are also indexed by it (one and ten points per leaf) and the
// ratios are printed at the end.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "inputs.h"
#include "qz4/tessellix/editing.h"
#include "structured_mesh.h"

#ifdef QZ4_HAVE_NANOFLANN
#include <nanoflann.hpp>
#endif

using namespace qz4;
using namespace qz4::tessellix;

namespace {

const unsigned kPoints = 1000000;

std::map<std::string, double> seconds;  // last time of each case, for the ratios

const dense2D<double>& random_cloud() {
  static const dense2D<double> p = [] {
    dense2D<double> m(3, kPoints, 0.0);
    std::mt19937 g(1);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    double* d = m.data();
    for (unsigned i = 0; i < 3 * kPoints; ++i) d[i] = u(g);
    return m;
  }();
  return p;
}

// The nodes of a 100 x 100 x 100 grid in lexicographic order: sorted input,
// with many equal coordinates and equidistant neighbours.
const dense2D<double>& grid_cloud() {
  static const dense2D<double> p = [] {
    dense2D<double> m(3, kPoints, 0.0);
    unsigned c = 0;
    for (unsigned k = 0; k < 100; ++k)
      for (unsigned j = 0; j < 100; ++j)
        for (unsigned i = 0; i < 100; ++i, ++c)
          m(0, c) = i * 0.01, m(1, c) = j * 0.01, m(2, c) = k * 0.01;
    return m;
  }();
  return p;
}

const dense2D<double>& cloud_of(const benchmark::State& state) {
  return state.range(0) == 0 ? random_cloud() : grid_cloud();
}

const std::vector<vector_fixed<double, 3>>& queries() {
  static const std::vector<vector_fixed<double, 3>> q = [] {
    std::vector<vector_fixed<double, 3>> v(kPoints);
    std::mt19937 g(2);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    for (auto& x : v) x = vector_fixed<double, 3>{{u(g), u(g), u(g)}};
    return v;
  }();
  return q;
}

void record(benchmark::State& state, const std::string& name, double s) {
  state.SetIterationTime(s);
  seconds[name + (state.range(0) == 0 ? "/random" : "/grid")] = s;
}

double since(std::chrono::steady_clock::time_point t0) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

void BM_DetectorBuild(benchmark::State& state) {
  const dense2D<double>& p = cloud_of(state);
  for (auto _ : state) {
    const auto t0 = std::chrono::steady_clock::now();
    node_detector d(p);
    benchmark::DoNotOptimize(d.size());
    record(state, "build", since(t0));
  }
}

void BM_DetectorFindClosest(benchmark::State& state) {
  const dense2D<double>& p = cloud_of(state);
  node_detector d(p);
  const auto& q = queries();
  for (auto _ : state) {
    const auto t0 = std::chrono::steady_clock::now();
    unsigned long sum = 0;
    for (const auto& x : q) sum += d.find_closest(x);
    benchmark::DoNotOptimize(sum);
    record(state, "closest", since(t0));
  }
}

// Boxes of side 0.02: about 8 random points, or 8 grid nodes, each.
void BM_DetectorFindInBox(benchmark::State& state) {
  const dense2D<double>& p = cloud_of(state);
  node_detector d(p);
  const auto& q = queries();
  dense1D<unsigned> found;
  found.reserve(1000);
  for (auto _ : state) {
    const auto t0 = std::chrono::steady_clock::now();
    unsigned long n = 0;
    for (const auto& x : q) {
      found.clear();
      const vector_fixed<double, 3> lo = {{x[0] - 0.01, x[1] - 0.01, x[2] - 0.01}},
                                    hi = {{x[0] + 0.01, x[1] + 0.01, x[2] + 0.01}};
      d.find_in_box(lo, hi, found);
      n += found.size();
    }
    state.counters["found_per_box"] = double(n) / q.size();
    record(state, "box", since(t0));
  }
}

// A triangle soup as a file reader makes it: three fresh nodes per triangle
// of the closed surface of a cube with 2 x 3 x 408^2 = 1,997,568 triangles.
struct soup {
  dense2D<double> pos;
  dense2D<unsigned> conn;
};

const soup& the_soup() {
  static const soup s = [] {
    support::mesh m = support::box_surface(408, 408, 408);
    support::shuffle(m, 3);
    soup r;
    const unsigned ne = m.conn.cols();
    r.pos.resize(3, 3 * ne);
    r.conn.resize(3, ne);
    for (unsigned e = 0; e < ne; ++e)
      for (unsigned k = 0; k < 3; ++k) {
        const unsigned v = m.conn(k, e), n = 3 * e + k;
        r.conn(k, e) = n;
        for (unsigned i = 0; i < 3; ++i) r.pos(i, n) = m.pos(i, v);
      }
    return r;
  }();
  return s;
}

void BM_MergeSoup(benchmark::State& state) {
  const soup& s = the_soup();
  for (auto _ : state) {
    dense2D<unsigned> conn;
    conn.copy(s.conn);
    const auto t0 = std::chrono::steady_clock::now();
    const int merged = merge(s.pos, conn, 1e-5, 0);
    const double t = since(t0);
    state.SetIterationTime(t);
    seconds["merge/soup"] = t;
    state.counters["merged"] = merged;
    state.counters["nodes"] = s.pos.cols();
  }
}

#ifdef QZ4_HAVE_NANOFLANN
using qz4bench::cloud_adaptor;
typedef nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, cloud_adaptor>,
                                            cloud_adaptor, 3, unsigned>
    nano_tree;

void BM_NanoflannBuild(benchmark::State& state) {
  const cloud_adaptor a{&cloud_of(state)};
  const std::size_t leaf = std::size_t(state.range(1));
  for (auto _ : state) {
    const auto t0 = std::chrono::steady_clock::now();
    nano_tree t(3, a, nanoflann::KDTreeSingleIndexAdaptorParams(leaf));
    benchmark::DoNotOptimize(&t);
    record(state, "nanoflann" + std::to_string(leaf) + " build", since(t0));
  }
}

void BM_NanoflannFindClosest(benchmark::State& state) {
  const cloud_adaptor a{&cloud_of(state)};
  const std::size_t leaf = std::size_t(state.range(1));
  nano_tree t(3, a, nanoflann::KDTreeSingleIndexAdaptorParams(leaf));
  const auto& q = queries();
  for (auto _ : state) {
    const auto t0 = std::chrono::steady_clock::now();
    unsigned long sum = 0;
    for (const auto& x : q) {
      unsigned idx = 0;
      double d2 = 0;
      t.knnSearch(x.data(), 1, &idx, &d2);
      sum += idx;
    }
    benchmark::DoNotOptimize(sum);
    record(state, "nanoflann" + std::to_string(leaf) + " closest", since(t0));
  }
}

BENCHMARK(BM_NanoflannBuild)
    ->ArgsProduct({{0, 1}, {1, 10}})
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NanoflannFindClosest)
    ->ArgsProduct({{0, 1}, {1, 10}})
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
#endif

BENCHMARK(BM_DetectorBuild)
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DetectorFindClosest)
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DetectorFindInBox)
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MergeSoup)->UseManualTime()->Iterations(2)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
#ifdef QZ4_HAVE_NANOFLANN
  std::printf("\nnode_detector time / nanoflann time (below 1: node_detector faster)\n");
  for (const char* cloud : {"/random", "/grid"})
    for (const char* what : {"build", "closest"})
      for (const char* leaf : {"1", "10"}) {
        const std::string ours = std::string(what) + cloud,
                          theirs = std::string("nanoflann") + leaf + " " + what + cloud;
        if (seconds.count(ours) && seconds.count(theirs))
          std::printf("  %-8s %-8s leaf %-3s %6.3f s / %6.3f s = %.2f\n", what, cloud + 1, leaf,
                      seconds[ours], seconds[theirs], seconds[ours] / seconds[theirs]);
      }
#else
  std::printf("\nnanoflann not found: no comparison.\n");
#endif
  return 0;
}
