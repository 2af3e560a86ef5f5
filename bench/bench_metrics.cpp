// Timings of the size-field services on the shuffled grid of about a million
// tetrahedra, with a smooth size field plus noise: gradation and H-shock with
// sizes and with 3D tensors, bounds over a million tensors, and the rate of
// bare dspev calls, the floor of every tensor path.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "qz4/tessellix/metrics.h"
#include "qz4/tessellix/topology.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;

namespace {

const support::mesh& tetrahedra() {  // 1,005,000 elements
  static const support::mesh m = [] {
    support::mesh t = support::tetra_grid(50, 50, 67);
    support::shuffle(t, 1);
    return t;
  }();
  return m;
}

const dense1D<double>& sizes() {
  static const dense1D<double> H = [] {
    const support::mesh& m = tetrahedra();
    dense1D<double> h(m.pos.cols());
    std::mt19937 g(1);
    std::uniform_real_distribution<double> noise(0.7, 1.3);
    for (unsigned n = 0; n < h.size(); ++n)
      h[n] = 0.02 * (1 + 0.8 * std::sin(6 * m.pos(0, n)) * std::cos(4 * m.pos(1, n))) * noise(g);
    return h;
  }();
  return H;
}

// Anisotropic: the sizes stretched 3 times along a direction turning with x.
const dense2D<double>& tensors() {
  static const dense2D<double> M = [] {
    const support::mesh& m = tetrahedra();
    const dense1D<double>& h = sizes();
    dense2D<double> t(6, h.size());
    for (unsigned n = 0; n < h.size(); ++n) {
      const double a = 3 * m.pos(0, n), c = std::cos(a), s = std::sin(a);
      const double l1 = 1 / (h[n] * h[n]), l2 = l1 / 9;
      t(0, n) = l1 * c * c + l2 * s * s;
      t(1, n) = (l1 - l2) * c * s;
      t(2, n) = l1 * s * s + l2 * c * c;
      t(3, n) = t(4, n) = 0;
      t(5, n) = l1;
    }
    return t;
  }();
  return M;
}

const dense2D<unsigned>& edges() {
  static const dense2D<unsigned> e = [] {
    dense2D<unsigned> x;
    copy_edges(tetrahedra().conn, ET_TETRA4, x);
    return x;
  }();
  return e;
}

void BM_gradation_sizes(benchmark::State& state) {
  const support::mesh& m = tetrahedra();
  dense1D<double> H;
  int changes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    H.copy(sizes());
    state.ResumeTiming();
    changes = bound_metric_gradation(m.pos, m.conn, m.type, dense1D<unsigned>(), 0.3, H);
  }
  state.counters["changes"] = changes;
}
BENCHMARK(BM_gradation_sizes)->Unit(benchmark::kMillisecond);

void BM_gradation_tensors(benchmark::State& state) {
  const support::mesh& m = tetrahedra();
  dense2D<double> M;
  int changes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    M.copy(tensors());
    state.ResumeTiming();
    changes = bound_metric_gradation(m.pos, m.conn, m.type, dense1D<unsigned>(), 0.3, M);
  }
  state.counters["changes"] = changes;
}
BENCHMARK(BM_gradation_tensors)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_H_shock_sizes(benchmark::State& state) {
  dense1D<double> shocks;
  for (auto _ : state)
    benchmark::DoNotOptimize(H_shock(tetrahedra().pos, edges(), sizes(), shocks));
}
BENCHMARK(BM_H_shock_sizes)->Unit(benchmark::kMillisecond);

void BM_H_shock_tensors(benchmark::State& state) {
  dense1D<double> shocks;
  for (auto _ : state)
    benchmark::DoNotOptimize(H_shock(tetrahedra().pos, edges(), tensors(), shocks));
}
BENCHMARK(BM_H_shock_tensors)->Unit(benchmark::kMillisecond);

// 1,000,000 tensors: those of the grid's nodes, over and over.
void BM_bound_metrics(benchmark::State& state) {
  const dense2D<double>& T = tensors();
  dense2D<double> field(6, 1000000), M;
  for (unsigned n = 0; n < field.cols(); ++n)
    for (unsigned i = 0; i < 6; ++i) field(i, n) = T(i, n % T.cols());
  for (auto _ : state) {
    state.PauseTiming();
    M.copy(field);
    state.ResumeTiming();
    benchmark::DoNotOptimize(bound_metrics(M, 0.01, 0.05));
  }
}
BENCHMARK(BM_bound_metrics)->Unit(benchmark::kMillisecond);

// One dspev per tensor without vectors, as is_valid_metric asks.
void BM_dspev_calls(benchmark::State& state) {
  const dense2D<double>& M = tensors();
  unsigned n = 0;
  for (auto _ : state) {
    metric3 t;
    for (unsigned i = 0; i < 6; ++i) t[i] = M(i, n);
    vector_fixed<double, 3> w;
    benchmark::DoNotOptimize(sym3_eigen_values(t, w));
    n = n + 1 == M.cols() ? 0 : n + 1;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_dspev_calls);

}  // namespace

BENCHMARK_MAIN();
