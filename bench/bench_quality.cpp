// Timings of the quality services on the shuffled grid of about a million
// tetrahedra and the closed surface of two million triangles, beside a plain
// loop of the same triangle and tetrahedron arithmetic, with no dispatch and
// no careful form: the floor for shape_qualities.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>

#include "qz4/tessellix/quality.h"
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

const support::mesh& triangles() {  // 2,000,000 elements
  static const support::mesh m = [] {
    support::mesh t = support::box_surface(400, 400, 425);
    support::shuffle(t, 2);
    return t;
  }();
  return m;
}

// The same surface numbered as generated: neighbouring triangles share
// nearby nodes, as in a mesher's output.
const support::mesh& ordered_triangles() {
  static const support::mesh m = support::box_surface(400, 400, 425);
  return m;
}

const support::mesh& mesh_of(const benchmark::State& state) {
  return state.range(0) == 0   ? tetrahedra()
         : state.range(0) == 1 ? triangles()
                               : ordered_triangles();
}

void label(benchmark::State& state) {
  static const char* names[] = {"tetrahedra", "triangles", "ordered triangles"};
  state.SetLabel(names[state.range(0)]);
  state.counters["elements"] = mesh_of(state).conn.cols();
}

void BM_shape_qualities(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  dense1D<double> q;
  for (auto _ : state) benchmark::DoNotOptimize(shape_qualities(m.pos, m.conn, m.type, q));
  label(state);
}
BENCHMARK(BM_shape_qualities)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

struct v3 {
  double x, y, z;
};
inline v3 sub(const double* a, const double* b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
inline v3 cross(v3 a, v3 b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double dot(v3 a, v3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

// The fast forms alone: triangle in space, tetrahedron by its four faces.
void BM_plain_loop(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  dense1D<double> q(m.conn.cols());
  const double* p = m.pos.data();
  const std::size_t pld = m.pos.ld();
  for (auto _ : state) {
    const unsigned* c = m.conn.data();
    for (unsigned e = 0; e < m.conn.cols(); ++e, c += m.conn.ld()) {
      const double *P0 = p + c[0] * pld, *P1 = p + c[1] * pld, *P2 = p + c[2] * pld;
      if (state.range(0) != 0) {
        const v3 a = sub(P0, P2), b = sub(P1, P2), d = sub(P1, P0);
        const double h = std::sqrt(std::fmax(dot(a, a), std::fmax(dot(b, b), dot(d, d))));
        const double s = std::sqrt(dot(a, a)) + std::sqrt(dot(b, b)) + std::sqrt(dot(d, d));
        const v3 n = cross(a, b);
        q[e] = std::fmin(std::sqrt(dot(n, n)) / (h * s) * 3.4641016151377544, 1);
        continue;
      }
      const double* P3 = p + c[3] * pld;
      const v3 a = sub(P0, P3), b = sub(P1, P3), d = sub(P2, P3);
      const v3 ab = cross(a, b), ad = cross(a, d), bd = cross(b, d),
               f = cross(sub(P1, P0), sub(P2, P0));
      const double D = std::sqrt(dot(ab, ab)) + std::sqrt(dot(ad, ad)) + std::sqrt(dot(bd, bd)) +
                       std::sqrt(dot(f, f));
      const double h2 = std::fmax(std::fmax(dot(a, a), dot(b, b)), dot(d, d));
      q[e] = dot(a, bd) * 2.449489742783178 / (D * std::sqrt(h2) * 0.5);
    }
    benchmark::DoNotOptimize(q.data());
  }
  label(state);
}
BENCHMARK(BM_plain_loop)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void BM_edge_qualities(benchmark::State& state) {
  const support::mesh& m = tetrahedra();
  dense1D<double> H(m.pos.cols());
  for (unsigned n = 0; n < H.size(); ++n) H[n] = 0.02 * (1 + 0.5 * std::sin(m.pos(0, n) * 6));
  for (auto _ : state) {
    misc::histogram h(0, 2, 20);
    benchmark::DoNotOptimize(edge_qualities(m.pos, m.conn, m.type, H, h));
  }
}
BENCHMARK(BM_edge_qualities)->Unit(benchmark::kMillisecond);

void BM_edge_lengths(benchmark::State& state) {
  const support::mesh& m = tetrahedra();
  dense2D<unsigned> edges;
  copy_edges(m.conn, m.type, edges);
  dense2D<double> lengths;
  for (auto _ : state) benchmark::DoNotOptimize(edge_lengths(m.pos, edges, lengths));
  state.counters["edges"] = edges.cols();
}
BENCHMARK(BM_edge_lengths)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
