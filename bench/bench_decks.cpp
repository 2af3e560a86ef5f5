// Timings of the solver decks on the shuffled grid of about a million
// tetrahedra, beside a plain fread of the deck and a plain fprintf loop of
// the same NASTRAN lines.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <vector>

#include "inputs.h"
#include "qz4/tessellix/formats.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;

namespace {

struct deck {
  dense2D<double> pos;
  dense2D<unsigned> conn;
  dense1D<unsigned> starts, props;
  dense1D<int> kinds;
};

const deck& tetrahedra() {  // 1,005,000 elements in one run
  static const deck d = [] {
    support::mesh t = support::tetra_grid(50, 50, 67);
    support::shuffle(t, 1);
    deck x;
    x.pos = t.pos;
    x.conn = t.conn;
    x.starts.resize(2, 0u);
    x.starts[1] = t.conn.cols();
    x.kinds.resize(1, int(ET_TETRA4));
    x.props.resize(t.conn.cols(), 1u);
    return x;
  }();
  return d;
}

const char* nastran_deck() {
  static const char* path = [] {
    const char* p = "/tmp/qz4_bench_read.bdf";
    qz4bench::write_tetra_deck(p, tetrahedra().pos, tetrahedra().conn);
    return p;
  }();
  return path;
}

const char* const out_path = "/tmp/qz4_bench_decks";

void BM_NASTRAN_input(benchmark::State& state) {
  deck d;
  for (auto _ : state)
    benchmark::DoNotOptimize(
        NASTRAN_input(nastran_deck(), d.pos, d.conn, d.starts, d.kinds, d.props));
  state.counters["elements"] = d.conn.cols();
}
BENCHMARK(BM_NASTRAN_input)->Unit(benchmark::kMillisecond);

void BM_fread(benchmark::State& state) {
  std::vector<char> buffer(1 << 20);
  for (auto _ : state) {
    std::FILE* f = std::fopen(nastran_deck(), "r");
    std::size_t total = 0;
    for (std::size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), f)) > 0;) total += n;
    std::fclose(f);
    benchmark::DoNotOptimize(total);
  }
}
BENCHMARK(BM_fread)->Unit(benchmark::kMillisecond);

void BM_NASTRAN_output(benchmark::State& state) {
  const deck& d = tetrahedra();
  for (auto _ : state)
    benchmark::DoNotOptimize(NASTRAN_output(out_path, d.pos, d.conn, d.starts, d.kinds, d.props));
}
BENCHMARK(BM_NASTRAN_output)->Unit(benchmark::kMillisecond);

void BM_printf_nastran(benchmark::State& state) {
  const deck& d = tetrahedra();
  for (auto _ : state) {
    std::FILE* f = std::fopen(out_path, "w");
    for (unsigned e = 0; e < d.conn.cols(); ++e)
      std::fprintf(f, "CTETRA,%u,1,%u,%u,%u,0,\n", e, d.conn(1, e), d.conn(0, e), d.conn(2, e));
    for (unsigned n = 0; n < d.pos.cols(); ++n)
      std::fprintf(f, "GRID*   %-16u%-#16g%-#16g\n*       %#g\n", n, d.pos(0, n), d.pos(1, n),
                   d.pos(2, n));
    std::fclose(f);
  }
}
BENCHMARK(BM_printf_nastran)->Unit(benchmark::kMillisecond);

void BM_FEMAP_output(benchmark::State& state) {
  const deck& d = tetrahedra();
  for (auto _ : state)
    benchmark::DoNotOptimize(FEMAP_output(out_path, d.pos, d.conn, d.starts, d.kinds, d.props));
}
BENCHMARK(BM_FEMAP_output)->Unit(benchmark::kMillisecond);

void BM_FEMAP_input(benchmark::State& state) {
  const deck& t = tetrahedra();
  FEMAP_output("/tmp/qz4_bench_read.neu", t.pos, t.conn, t.starts, t.kinds, t.props);
  deck d;
  for (auto _ : state)
    benchmark::DoNotOptimize(
        FEMAP_input("/tmp/qz4_bench_read.neu", d.pos, d.conn, d.starts, d.kinds, d.props));
  state.counters["elements"] = d.conn.cols();
}
BENCHMARK(BM_FEMAP_input)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
