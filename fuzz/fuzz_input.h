// What the harnesses share: the fuzzer's bytes put in a file that a reader
// can open, and a check that stops the run loudly.
#ifndef QZ4_FUZZ_INPUT_H
#define QZ4_FUZZ_INPUT_H

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace qz4fuzz {

/// Writes the bytes to a file of this process and returns its name.
inline std::string as_file(const char* name, const std::uint8_t* data, std::size_t size) {
  // Memory-backed where the machine has it: the fuzzer writes one per run.
  static const std::string dir = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : "/tmp/";
  const std::string path = dir + "qz4_fuzz_" + std::to_string(::getpid()) + "_" + name;
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) std::abort();
  if (size && std::fwrite(data, 1, size, f) != size) std::abort();
  std::fclose(f);
  return path;
}

/// Aborts, so that the fuzzer keeps the input, when `ok` is false.
inline void require(bool ok, const char* what) {
  if (!ok) {
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
  }
}

/// Seed programs: writes `bytes` as file `name` in folder `dir`.
inline void seed(const char* dir, const std::string& name, const std::string& bytes) {
  std::FILE* f = std::fopen((std::string(dir) + "/" + name).c_str(), "wb");
  if (!f) std::exit(1);
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
}

/// The bytes of a file, for seeds made by the library's writers.
inline std::string bytes_of(const std::string& path) {
  std::string s;
  if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
    char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;) s.append(buf, n);
    std::fclose(f);
  }
  std::remove(path.c_str());
  return s;
}

}  // namespace qz4fuzz

#endif
