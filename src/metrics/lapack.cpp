#include "metrics/lapack.h"

#include <cstddef>

// Fortran LAPACK with default 32-bit integers, hidden string lengths last.
extern "C" void dspev_(const char* jobz, const char* uplo, const int* n, double* ap, double* w,
                       double* z, const int* ldz, double* work, int* info, std::size_t,
                       std::size_t);

namespace qz4 {
namespace lapack {

int dspev(char jobz, char uplo, long n, double* ap, double* w, double* z, long ldz, double* work,
          long& info) {
  const int n32 = static_cast<int>(n), ldz32 = static_cast<int>(ldz);
  int info32 = 0;
  dspev_(&jobz, &uplo, &n32, ap, w, z, &ldz32, work, &info32, 1, 1);
  info = info32;
  return info32;
}

}  // namespace lapack
}  // namespace qz4
