// What every format test uses: scratch files (a path per name, whole-file
// reads and writes), the shared builders, the out-of-memory check, and the
// library's names.
#ifndef QZ4_TEST_FORMATS_FILES_H
#define QZ4_TEST_FORMATS_FILES_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "alloc_seam.h"
#include "arrays.h"
#include "qz4/tessellix/formats.h"

namespace qz4test {

inline std::string scratch(const std::string& name) {
  return ::testing::TempDir() + "qz4_" + std::to_string(::getpid()) + "_" + name;
}

inline std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

inline std::string spit(const std::string& name, const std::string& bytes) {
  const std::string path = scratch(name);
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

/// The text with every "\n" turned into "\r\n", as saved on Windows.
inline std::string crlf(std::string s) {
  for (std::size_t i = 0; (i = s.find('\n', i)) != std::string::npos; i += 2) s.insert(i, "\r");
  return s;
}

/// Several results of one kind, compared at once; a braced list is
/// evaluated in order, so a call and what it leaves behind can share one.
using results = std::vector<long long>;

inline bool has(const std::string& text, const std::string& piece) {
  return text.find(piece) != std::string::npos;
}

/// Rows, columns, then the entries column after column: shape and contents
/// in one comparison.
template <class T>
std::vector<T> shaped(const qz4::dense2D<T>& m) {
  std::vector<T> v = flat(m);
  v.insert(v.begin(), {T(m.rows()), T(m.cols())});
  return v;
}

}  // namespace qz4test

using namespace qz4;
using namespace qz4::tessellix;
using namespace qz4test;

#endif
