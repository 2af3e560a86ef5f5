// Scratch files for the format tests: a path per name, whole-file reads and
// writes.
#ifndef QZ4_TEST_FORMATS_FILES_H
#define QZ4_TEST_FORMATS_FILES_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

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

}  // namespace qz4test

#endif
