// `tessellix convert` of a binary STL torus of 2,000,000 triangles to legacy
// VTK, timed beside the library calls it makes (read and weld, cell lists,
// the VTK stream) and beside `meshio convert` of the same file to ASCII VTK
// (meshio prints 16 digits where we print "%f"). The time reported is the
// CPU time, user and system, of the child process that does the work: on a
// shared machine wall time mostly measures the neighbours. Run by hand: bench_cli
// [--benchmark_filter=...]
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "qz4/tessellix/formats.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;

namespace {

const char* const stl = "/tmp/qz4_bench_cli.stl";

// A torus of 1000 x 1000 quadrangles cut in two: the unit square's grid
// rolled up, its seams welded by the reader.
const char* input() {
  static const bool made = [] {
    const support::mesh m = support::tria_grid(1000, 1000);
    dense2D<double> pos(3, m.pos.cols());
    const double pi = 3.14159265358979323846;
    for (unsigned n = 0; n < pos.cols(); ++n) {
      const double u = 2 * pi * m.pos(0, n), v = 2 * pi * m.pos(1, n);
      pos(0, n) = (3 + std::cos(v)) * std::cos(u);
      pos(1, n) = (3 + std::cos(v)) * std::sin(u);
      pos(2, n) = std::sin(v);
    }
    return STL_output(stl, pos, m.conn, false) == 0;
  }();
  return made ? stl : nullptr;
}

// User and system seconds of this process or of its waited-for children.
double cpu_seconds(int who) {
  rusage u;
  getrusage(who, &u);
  return u.ru_utime.tv_sec + u.ru_stime.tv_sec + 1e-6 * (u.ru_utime.tv_usec + u.ru_stime.tv_usec);
}

void shell(benchmark::State& state, const std::string& command) {
  if (!input()) return state.SkipWithError("cannot write the STL file");
  for (auto _ : state) {
    const double start = cpu_seconds(RUSAGE_CHILDREN);
    if (std::system(command.c_str()) != 0) return state.SkipWithError(command.c_str());
    state.SetIterationTime(cpu_seconds(RUSAGE_CHILDREN) - start);
  }
}

// In a child process of its own, so that the memory is as fresh as the
// tool's: in this process the allocator would hand back what the iteration
// before gave up.
void BM_library_calls(benchmark::State& state) {
  if (!input()) return state.SkipWithError("cannot write the STL file");
  for (auto _ : state) {
    const double start = cpu_seconds(RUSAGE_CHILDREN);
    const pid_t child = fork();
    if (child == 0) {
      dense2D<double> pos;
      dense2D<unsigned> triangles;
      dense1D<unsigned> cells, types;
      unsigned count = 0;
      STL_input(stl, pos, triangles, false);
      vtk_convert(triangles, ET_TRIA3, count, cells, types);
      std::FILE* f = std::fopen("/tmp/qz4_bench_cli_library.vtk", "w");
      vtk_output(f, pos, count, cells, types);
      std::fclose(f);
      std::_Exit(0);
    }
    int status = 1;
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
      return state.SkipWithError("the child failed");
    state.SetIterationTime(cpu_seconds(RUSAGE_CHILDREN) - start);
  }
}

void BM_tessellix_convert(benchmark::State& state) {
  shell(state, std::string(TESSELLIX) + " convert --quiet " + stl + " /tmp/qz4_bench_cli_tool.vtk");
}

void BM_meshio_convert(benchmark::State& state) {
  shell(state, std::string("meshio convert --ascii ") + stl +
                   " /tmp/qz4_bench_cli_meshio.vtk > /dev/null");
}

}  // namespace

BENCHMARK(BM_library_calls)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(5);
BENCHMARK(BM_tessellix_convert)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(5);
BENCHMARK(BM_meshio_convert)->Unit(benchmark::kSecond)->UseManualTime()->Iterations(2);
BENCHMARK_MAIN();
