// Timings of the viewing writers on the shuffled grid of about a million
// tetrahedra, beside a plain fprintf loop of the MEDIT text: the reference
// for what formatting the same numbers costs through the C library.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "qz4/tessellix/formats.h"
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

const char* const path = "/tmp/qz4_bench_viewing";

void BM_medit_output(benchmark::State& state) {
  const support::mesh& m = tetrahedra();
  for (auto _ : state) benchmark::DoNotOptimize(medit_output(path, m.pos, m.conn, m.type));
}
BENCHMARK(BM_medit_output)->Unit(benchmark::kMillisecond);

void BM_vtk_output(benchmark::State& state) {
  const support::mesh& m = tetrahedra();
  for (auto _ : state) benchmark::DoNotOptimize(vtk_output(path, m.pos, m.conn, m.type));
}
BENCHMARK(BM_vtk_output)->Unit(benchmark::kMillisecond);

void BM_ensight_output(benchmark::State& state) {
  const support::mesh& m = tetrahedra();
  for (auto _ : state) benchmark::DoNotOptimize(ensight_output(path, m.pos, m.conn, m.type));
}
BENCHMARK(BM_ensight_output)->Unit(benchmark::kMillisecond);

void BM_printf_medit(benchmark::State& state) {
  const support::mesh& m = tetrahedra();
  for (auto _ : state) {
    std::FILE* f = std::fopen(path, "w");
    std::fprintf(f, "MeshVersionFormatted 1\nDimension 3\n\nVertices\n%u\n", m.pos.cols());
    for (unsigned n = 0; n < m.pos.cols(); ++n)
      std::fprintf(f, "%E %E %E 0 \n", m.pos(0, n), m.pos(1, n), m.pos(2, n));
    std::fprintf(f, "\nTetrahedra\n%u\n", m.conn.cols());
    for (unsigned e = 0; e < m.conn.cols(); ++e)
      std::fprintf(f, "%u %u %u %u 0 \n", m.conn(0, e) + 1, m.conn(1, e) + 1, m.conn(2, e) + 1,
                   m.conn(3, e) + 1);
    std::fprintf(f, "\nEnd\n");
    std::fclose(f);
  }
}
BENCHMARK(BM_printf_medit)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
