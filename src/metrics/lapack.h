// The one LAPACK routine the metrics need, behind a signature that does not
// depend on the Fortran integer width of the LAPACK at hand.
#ifndef QZ4_METRICS_LAPACK_H
#define QZ4_METRICS_LAPACK_H

namespace qz4 {
namespace lapack {

/// DSPEV: eigenvalues (and with jobz 'V' eigenvectors) of a symmetric matrix
/// in packed storage. `ap` is destroyed. `info` is 0 on success. The return
/// value repeats `info`.
int dspev(char jobz, char uplo, long n, double* ap, double* w, double* z, long ldz, double* work,
          long& info);

}  // namespace lapack
}  // namespace qz4

#endif
