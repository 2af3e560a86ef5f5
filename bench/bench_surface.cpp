// Timings of the surface files on a torus of 2,000,000 triangles (500,000
// for text STL), beside a plain fread of the same file and a plain fprintf
// loop of the same OBJ lines.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <vector>

#include "inputs.h"
#include "qz4/tessellix/editing.h"
#include "qz4/tessellix/formats.h"

using namespace qz4;
using namespace qz4::tessellix;
using qz4bench::surface;
using qz4bench::torus;

namespace {

const surface& big() {  // 2,000,000 triangles
  static const surface s = torus(1000, 1000);
  return s;
}
const surface& small() {  // 500,000 triangles
  static const surface s = torus(500, 500);
  return s;
}

const char* file(const char* path, const surface& s, bool text) {
  STL_output(path, s.pos, s.tri, text);
  return path;
}
const char* binary_stl() {
  static const char* p = file("/tmp/qz4_bench_surface.stlb", big(), false);
  return p;
}
const char* text_stl() {
  static const char* p = file("/tmp/qz4_bench_surface.stl", small(), true);
  return p;
}

void plain_fread(benchmark::State& state, const char* path) {
  std::vector<char> buffer(1 << 20);
  for (auto _ : state) {
    std::FILE* f = std::fopen(path, "rb");
    std::size_t total = 0;
    for (std::size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), f)) > 0;) total += n;
    std::fclose(f);
    benchmark::DoNotOptimize(total);
  }
}

void BM_STL_input_binary(benchmark::State& state) {
  surface s;
  for (auto _ : state) benchmark::DoNotOptimize(STL_input(binary_stl(), s.pos, s.tri, false));
  state.counters["triangles"] = s.tri.cols();
  state.counters["nodes"] = s.pos.cols();
}
BENCHMARK(BM_STL_input_binary)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_fread_binary_stl(benchmark::State& state) { plain_fread(state, binary_stl()); }
BENCHMARK(BM_fread_binary_stl)->Unit(benchmark::kMillisecond)->Iterations(3);

// The weld alone: the 6,000,000 fresh vertices of the binary file merged as
// the reader merges them.
void BM_weld_alone(benchmark::State& state) {
  const surface& b = big();
  surface soup;
  soup.pos.resize(3, 3 * b.tri.cols());
  soup.tri.resize(3, b.tri.cols());
  for (unsigned e = 0; e < b.tri.cols(); ++e)
    for (unsigned k = 0; k < 3; ++k) {
      for (unsigned i = 0; i < 3; ++i) soup.pos(i, 3 * e + k) = float(b.pos(i, b.tri(k, e)));
      soup.tri(k, e) = 3 * e + k;
    }
  for (auto _ : state) {
    state.PauseTiming();
    surface s;
    s.pos.copy(soup.pos);
    s.tri.copy(soup.tri);
    dense1D<unsigned> map;
    state.ResumeTiming();
    benchmark::DoNotOptimize(merge(s.pos, s.tri, map, 1e-4, 0));
    remove_degenerated(s.tri, map, true);
    benchmark::DoNotOptimize(simplify(s.pos, s.tri, map, 0));
  }
}
BENCHMARK(BM_weld_alone)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_STL_input_text(benchmark::State& state) {
  surface s;
  for (auto _ : state) benchmark::DoNotOptimize(STL_input(text_stl(), s.pos, s.tri, true));
  state.counters["triangles"] = s.tri.cols();
}
BENCHMARK(BM_STL_input_text)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_STL_output_binary(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(STL_output("/tmp/qz4_bench_out.stlb", big().pos, big().tri, false));
}
BENCHMARK(BM_STL_output_binary)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_STL_output_text(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(STL_output("/tmp/qz4_bench_out.stl", big().pos, big().tri, true));
}
BENCHMARK(BM_STL_output_text)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_WavefrontOBJ_output(benchmark::State& state) {
  const surface& s = big();
  for (auto _ : state)
    benchmark::DoNotOptimize(WavefrontOBJ_output("/tmp/qz4_bench_out.obj", s.pos, dense2D<double>(),
                                                 dense2D<double>(), s.tri, dense2D<unsigned>()));
}
BENCHMARK(BM_WavefrontOBJ_output)->Unit(benchmark::kMillisecond)->Iterations(3);

// The same lines as WavefrontOBJ_output, by fprintf.
void BM_printf_obj(benchmark::State& state) {
  const surface& s = big();
  for (auto _ : state) {
    std::FILE* f = std::fopen("/tmp/qz4_bench_out.obj", "w");
    for (unsigned n = 0; n < s.pos.cols(); ++n)
      std::fprintf(f, " v %.8e %.8e %.8e \n", s.pos(0, n), s.pos(1, n), s.pos(2, n));
    for (unsigned e = 0; e < s.tri.cols(); ++e)
      std::fprintf(f, " f %u//%u//%u// \n", s.tri(0, e) + 1, s.tri(1, e) + 1, s.tri(2, e) + 1);
    std::fclose(f);
  }
}
BENCHMARK(BM_printf_obj)->Unit(benchmark::kMillisecond)->Iterations(3);

// The writer's faces do not come back (see WavefrontOBJ_input): the file
// read is one with plain "f a b c" faces.
const char* plain_obj() {
  static const char* p = [] {
    const char* path = "/tmp/qz4_bench_plain.obj";
    const surface& s = big();
    std::FILE* f = std::fopen(path, "w");
    for (unsigned n = 0; n < s.pos.cols(); ++n)
      std::fprintf(f, "v %.8e %.8e %.8e\n", s.pos(0, n), s.pos(1, n), s.pos(2, n));
    for (unsigned e = 0; e < s.tri.cols(); ++e)
      std::fprintf(f, "f %u %u %u\n", s.tri(0, e) + 1, s.tri(1, e) + 1, s.tri(2, e) + 1);
    std::fclose(f);
    return path;
  }();
  return p;
}

void BM_WavefrontOBJ_input(benchmark::State& state) {
  dense2D<double> pos, normals, texture;
  dense2D<unsigned> tri, quad;
  for (auto _ : state)
    benchmark::DoNotOptimize(WavefrontOBJ_input(plain_obj(), pos, normals, texture, tri, quad));
  state.counters["triangles"] = tri.cols();
}
BENCHMARK(BM_WavefrontOBJ_input)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_fread_obj(benchmark::State& state) { plain_fread(state, plain_obj()); }
BENCHMARK(BM_fread_obj)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
