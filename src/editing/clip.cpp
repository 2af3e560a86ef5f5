// Selection of the elements wholly on the positive side of a plane.
#include <cmath>
#include <cstddef>
#include <vector>

#include "editing/append.h"
#include "qz4/tessellix/editing.h"

namespace qz4 {
namespace tessellix {

int clip(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
         const vector_fixed<double, 3>& point, const vector_fixed<double, 3>& normal,
         dense2D<unsigned>& clipped) {
  const double L = std::sqrt(normal[0] * normal[0] + normal[1] * normal[1] + normal[2] * normal[2]);
  if (connectivity.empty()) return 0;
  if (!check_IDs(connectivity, pos.cols())) return -2;
  if (L < 1e-12) return -4;
  if (!clipped.empty() && clipped.rows() != connectivity.rows()) return -5;

  // Side of each node, tested once however many elements share it:
  // 0 unknown, 1 positive, -1 on the plane or behind it.
  std::vector<short> side(pos.cols(), 0);
  const double* P = pos.data();
  const std::size_t pld = pos.ld();
  const unsigned dims = pos.rows() < 3 ? pos.rows() : 3;
  const unsigned R = connectivity.rows(), N = connectivity.cols();
  const unsigned* C = connectivity.data();
  const std::size_t cld = connectivity.ld();
  std::vector<unsigned> selected;
  for (unsigned e = 0; e < N; ++e) {
    const unsigned* col = C + e * cld;
    bool inside = true;
    for (unsigned r = 0; r < R && inside; ++r) {
      const unsigned v = col[r];
      if (v == NO_ID) break;  // the rest is padding
      if (side[v] == 0) {
        const double* p = P + v * pld;
        double s = 0;
        for (unsigned k = 0; k < dims; ++k) s += normal[k] * (p[k] - point[k]);
        side[v] = s > 0 ? 1 : -1;
      }
      inside = side[v] == 1;
    }
    if (inside) selected.push_back(e);
  }
  return append_columns(clipped, connectivity, selected.data(), selected.size()) ? 0 : -199;
}

}  // namespace tessellix
}  // namespace qz4
