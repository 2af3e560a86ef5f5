// Timings of the MEDIT and VTK readers on the shuffled grid of about a
// million tetrahedra, beside what the bytes alone cost: a plain fread of the
// same binary file, and a plain pass of std::from_chars over every number of
// the same text file (read whole first). meshio's times for the same files
// come from bench/readers_meshio.py, which reads the files this program
// leaves in /tmp.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "qz4/tessellix/formats.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;

namespace {

const std::string dir = "/tmp/qz4_bench_readers";

// Binary writers of the forms the library only reads: MEDIT version 2
// (little-endian) and legacy VTK 2.0 (big-endian), in bulk.
void put(std::FILE* f, const void* p, std::size_t n, bool swap = false) {
  if (!swap) {
    std::fwrite(p, 1, n, f);
    return;
  }
  unsigned char b[8];
  for (std::size_t i = 0; i < n; ++i) b[i] = static_cast<const unsigned char*>(p)[n - 1 - i];
  std::fwrite(b, 1, n, f);
}
template <class T>
void put(std::FILE* f, T v, bool swap = false) {
  put(f, &v, sizeof v, swap);
}

void write_meshb(const char* path, const support::mesh& m) {
  std::FILE* f = std::fopen(path, "wb");
  const std::int32_t nv = std::int32_t(m.pos.cols()), ne = std::int32_t(m.conn.cols());
  put(f, 1), put(f, 2), put(f, 3), put(f, 20), put(f, 3);
  put(f, 4), put(f, std::int32_t(32 + nv * 28)), put(f, nv);
  for (unsigned n = 0; n < m.pos.cols(); ++n)
    put(f, m.pos(0, n)), put(f, m.pos(1, n)), put(f, m.pos(2, n)), put(f, 0);
  put(f, 8), put(f, std::int32_t(32 + nv * 28 + 12 + ne * 20)), put(f, ne);
  for (unsigned e = 0; e < m.conn.cols(); ++e) {
    for (unsigned r = 0; r < 4; ++r) put(f, std::int32_t(m.conn(r, e) + 1));
    put(f, 1);
  }
  put(f, 54), put(f, 0);
  std::fclose(f);
}

void write_vtk_binary(const char* path, const support::mesh& m) {
  std::FILE* f = std::fopen(path, "wb");
  std::fprintf(f,
               "# vtk DataFile Version 2.0\nbench\nBINARY\nDATASET UNSTRUCTURED_GRID\n"
               "POINTS %u double\n",
               m.pos.cols());
  for (unsigned n = 0; n < m.pos.cols(); ++n)
    for (unsigned r = 0; r < 3; ++r) put(f, m.pos(r, n), true);
  std::fprintf(f, "\nCELLS %u %u\n", m.conn.cols(), 5 * m.conn.cols());
  for (unsigned e = 0; e < m.conn.cols(); ++e) {
    put(f, std::int32_t(4), true);
    for (unsigned r = 0; r < 4; ++r) put(f, std::int32_t(m.conn(r, e)), true);
  }
  std::fprintf(f, "\nCELL_TYPES %u\n", m.conn.cols());
  for (unsigned e = 0; e < m.conn.cols(); ++e) put(f, std::int32_t(10), true);
  std::fprintf(f, "\n");
  std::fclose(f);
}

// The files, written once: text and binary MEDIT, ASCII and binary VTK.
const std::string& files() {
  static const std::string made = [] {
    support::mesh t = support::tetra_grid(50, 50, 67);  // 1,005,000 elements
    support::shuffle(t, 1);
    std::remove(dir.c_str());
    medit_output((dir + ".mesh").c_str(), t.pos, t.conn, t.type);
    write_meshb((dir + ".meshb").c_str(), t);
    vtk_output((dir + "_ascii.vtk").c_str(), t.pos, t.conn, t.type);
    write_vtk_binary((dir + "_binary.vtk").c_str(), t);
    return dir;
  }();
  return made;
}

std::vector<char> slurp(const std::string& path) {
  std::vector<char> bytes;
  std::FILE* f = std::fopen(path.c_str(), "rb");
  std::fseek(f, 0, SEEK_END);
  bytes.resize(std::size_t(std::ftell(f)));
  std::rewind(f);
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), f));
  std::fclose(f);
  return bytes;
}

struct mesh_out {
  dense2D<double> pos;
  dense1D<dense2D<unsigned>> conns;
  dense1D<int> kinds;
  unsigned skipped;
};

void BM_medit_input_text(benchmark::State& state) {
  const std::string path = files() + ".mesh";
  mesh_out m;
  for (auto _ : state) benchmark::DoNotOptimize(medit_input(path.c_str(), m.pos, m.conns, m.kinds));
}
BENCHMARK(BM_medit_input_text)->Unit(benchmark::kMillisecond);

void BM_from_chars_text(benchmark::State& state) {
  const std::string path = files() + ".mesh";
  for (auto _ : state) {
    const std::vector<char> b = slurp(path);
    double sum = 0, v;
    for (const char *p = b.data(), *end = p + b.size(); p < end;) {
      while (p < end && (*p == ' ' || *p == '\n')) ++p;
      const auto r = std::from_chars(p, end, v);
      if (r.ec == std::errc()) sum += v;
      for (p = r.ptr; p < end && *p != ' ' && *p != '\n';) ++p;
    }
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(BM_from_chars_text)->Unit(benchmark::kMillisecond);

void BM_medit_input_binary(benchmark::State& state) {
  const std::string path = files() + ".meshb";
  mesh_out m;
  for (auto _ : state) benchmark::DoNotOptimize(medit_input(path.c_str(), m.pos, m.conns, m.kinds));
}
BENCHMARK(BM_medit_input_binary)->Unit(benchmark::kMillisecond);

void BM_fread_meshb(benchmark::State& state) {
  const std::string path = files() + ".meshb";
  for (auto _ : state) benchmark::DoNotOptimize(slurp(path));
}
BENCHMARK(BM_fread_meshb)->Unit(benchmark::kMillisecond);

void BM_vtk_input_binary(benchmark::State& state) {
  const std::string path = files() + "_binary.vtk";
  mesh_out m;
  for (auto _ : state)
    benchmark::DoNotOptimize(vtk_input(path.c_str(), m.pos, m.conns, m.kinds, m.skipped));
}
BENCHMARK(BM_vtk_input_binary)->Unit(benchmark::kMillisecond);

void BM_fread_vtk(benchmark::State& state) {
  const std::string path = files() + "_binary.vtk";
  for (auto _ : state) benchmark::DoNotOptimize(slurp(path));
}
BENCHMARK(BM_fread_vtk)->Unit(benchmark::kMillisecond);

void BM_vtk_input_ascii(benchmark::State& state) {
  const std::string path = files() + "_ascii.vtk";
  mesh_out m;
  for (auto _ : state)
    benchmark::DoNotOptimize(vtk_input(path.c_str(), m.pos, m.conns, m.kinds, m.skipped));
}
BENCHMARK(BM_vtk_input_ascii)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
