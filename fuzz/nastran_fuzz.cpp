// NASTRAN_input on any bytes.
#include "deck_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qz4;
  return qz4fuzz::deck_harness(
      "nastran", data, size,
      [](const char* f, dense2D<double>& p, dense2D<unsigned>& c, dense1D<unsigned>& s,
         dense1D<int>& k,
         dense1D<unsigned>& q) { return tessellix::NASTRAN_input(f, p, c, s, k, q); },
      [](const char* f, dense2D<double>& p, dense2D<unsigned>& a, dense2D<unsigned>& b,
         element_type& ta,
         element_type& tb) { return tessellix::NASTRAN_input(f, p, a, b, ta, tb); });
}
