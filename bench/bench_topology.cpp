// Timings of the topology services on a shuffled grid of about a million
// tetrahedra and on a closed surface of two million triangles, beside a plain
// std::sort of as many face keys as the meshes have element boundaries: what a
// simple pairing by sorting would cost.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "qz4/tessellix/topology.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;

namespace {

// 50 x 50 x 67 cells of six tetrahedra: 1,005,000 elements.
const support::mesh& tetrahedra() {
  static const support::mesh m = [] {
    support::mesh t = support::tetra_grid(50, 50, 67);
    support::shuffle(t, 1);
    return t;
  }();
  return m;
}

// 4 (400 * 400 + 400 * 425 + 425 * 400) = 2,000,000 triangles.
const support::mesh& triangles() {
  static const support::mesh m = [] {
    support::mesh t = support::box_surface(400, 400, 425);
    support::shuffle(t, 2);
    return t;
  }();
  return m;
}

const support::mesh& mesh_of(const benchmark::State& state) {
  return state.range(0) == 0 ? tetrahedra() : triangles();
}

const dense2D<unsigned>& neighbors_of(const benchmark::State& state) {
  static dense2D<unsigned> nb[2];
  const int k = int(state.range(0));
  if (nb[k].empty()) get_neighbors(mesh_of(state).conn, mesh_of(state).type, false, nb[k]);
  return nb[k];
}

void label(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  state.SetLabel(state.range(0) == 0 ? "tetrahedra" : "triangles");
  state.counters["elements"] = m.conn.cols();
}

void BM_get_neighbors(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  dense2D<unsigned> nb;
  for (auto _ : state) benchmark::DoNotOptimize(get_neighbors(m.conn, m.type, false, nb));
  label(state);
}

void BM_get_element_boundaries(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  dense2D<unsigned> b;
  for (auto _ : state) benchmark::DoNotOptimize(get_element_boundaries(m.conn, m.type, b));
  label(state);
}

void BM_get_mesh_boundaries(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  const dense2D<unsigned>& nb = neighbors_of(state);
  dense2D<unsigned> b;
  for (auto _ : state) benchmark::DoNotOptimize(get_mesh_boundaries(m.conn, nb, m.type, b));
  label(state);
}

void BM_copy_edges(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  for (auto _ : state) {
    dense2D<unsigned> edges;
    benchmark::DoNotOptimize(copy_edges(m.conn, m.type, edges));
  }
  label(state);
}

void BM_get_ancestors(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  for (auto _ : state) {
    dense1D<unsigned> a;
    benchmark::DoNotOptimize(get_ancestors(m.conn, a));
  }
  label(state);
}

void BM_get_connected_elements(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  dense1D<unsigned> index, elements;
  for (auto _ : state) benchmark::DoNotOptimize(get_connected_elements(m.conn, index, elements));
  label(state);
}

void BM_get_node_graph(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  dense1D<unsigned> index, neighbors;
  for (auto _ : state) benchmark::DoNotOptimize(get_node_graph(m.conn, index, neighbors));
  label(state);
}

void BM_get_subdomains(benchmark::State& state) {
  const dense2D<unsigned>& nb = neighbors_of(state);
  dense1D<unsigned> elements, starts;
  for (auto _ : state) benchmark::DoNotOptimize(get_subdomains(nb, elements, starts));
  label(state);
}

void BM_get_subdomains_reordering(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  const dense2D<unsigned>& nb0 = neighbors_of(state);
  dense1D<unsigned> starts;
  for (auto _ : state) {
    state.PauseTiming();
    dense2D<unsigned> c, nb;
    c.copy(m.conn);
    nb.copy(nb0);
    state.ResumeTiming();
    benchmark::DoNotOptimize(get_subdomains(c, nb, starts));
  }
  label(state);
}

void BM_sort_elfes(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  const dense2D<unsigned>& nb0 = neighbors_of(state);
  dense1D<unsigned> nodes, ends, ids;
  for (auto _ : state) {
    state.PauseTiming();
    dense2D<unsigned> c, nb;
    c.copy(m.conn);
    nb.copy(nb0);
    state.ResumeTiming();
    benchmark::DoNotOptimize(sort_elfes(c, nb, nodes, ends, ids));
  }
  label(state);
}

// One key per element boundary: its sorted nodes and the (element, boundary)
// it came from, the record a sort-based pairing would order.
struct face_key {
  std::array<unsigned, 3> nodes;
  unsigned id;
  bool operator<(const face_key& o) const { return nodes < o.nodes; }
};

void BM_std_sort_face_keys(benchmark::State& state) {
  const support::mesh& m = mesh_of(state);
  dense2D<unsigned> faces;
  get_element_boundaries(m.conn, m.type, faces);
  std::vector<face_key> keys(faces.cols());
  for (unsigned j = 0; j < faces.cols(); ++j) {
    face_key& k = keys[j];
    k.nodes = {faces(0, j), faces(1, j), faces.rows() > 2 ? faces(2, j) : 0u};
    std::sort(k.nodes.begin(), k.nodes.begin() + faces.rows());
    k.id = j;
  }
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<face_key> work = keys;
    state.ResumeTiming();
    std::sort(work.begin(), work.end());
    benchmark::DoNotOptimize(work.data());
  }
  label(state);
  state.counters["keys"] = double(keys.size());
}

#define TOPOLOGY_BENCH(f) BENCHMARK(f)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(5)

TOPOLOGY_BENCH(BM_get_neighbors);
TOPOLOGY_BENCH(BM_std_sort_face_keys);
TOPOLOGY_BENCH(BM_get_element_boundaries);
TOPOLOGY_BENCH(BM_get_mesh_boundaries);
TOPOLOGY_BENCH(BM_copy_edges);
TOPOLOGY_BENCH(BM_get_ancestors);
TOPOLOGY_BENCH(BM_get_connected_elements);
TOPOLOGY_BENCH(BM_get_node_graph);
TOPOLOGY_BENCH(BM_get_subdomains);
TOPOLOGY_BENCH(BM_get_subdomains_reordering);
TOPOLOGY_BENCH(BM_sort_elfes);

}  // namespace

BENCHMARK_MAIN();
