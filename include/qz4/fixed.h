// Fixed-size values of namespace qz4: small vectors, column-major matrices and
// packed symmetric matrices. Each is an aggregate over one array, so that
// `vector_fixed<double,3> p = {1.0, 2.0, 3.0};` works and the storage can be
// handed to LAPACK as it stands.
#ifndef QZ4_FIXED_H
#define QZ4_FIXED_H

namespace qz4 {

/// Exactly N contiguous T: a point, a direction or a box corner.
template <class T, unsigned N>
struct vector_fixed {
  T v[N];

  T& operator[](unsigned i) { return v[i]; }
  const T& operator[](unsigned i) const { return v[i]; }
  /// Sets every component to x.
  T operator=(T x) {
    for (unsigned i = 0; i < N; ++i) v[i] = x;
    return x;
  }
  static constexpr unsigned size() { return N; }
  T* data() { return v; }
  const T* data() const { return v; }
};

/// Exactly R*C contiguous T, column-major: column j starts at element j*R.
template <class T, unsigned R, unsigned C>
struct matrix_fixed {
  T v[R * C];

  T& operator[](unsigned i) { return v[i]; }
  const T& operator[](unsigned i) const { return v[i]; }
  T& operator()(unsigned i, unsigned j) { return v[j * R + i]; }
  const T& operator()(unsigned i, unsigned j) const { return v[j * R + i]; }
  T operator=(T x) {
    for (unsigned i = 0; i < R * C; ++i) v[i] = x;
    return x;
  }
  T* data() { return v; }
  const T* data() const { return v; }
};

/// A symmetric N x N matrix holding its upper triangle packed by columns
/// (LAPACK packed storage with UPLO = 'U'): (i,j) with i <= j is at
/// i + j(j+1)/2. For N = 3 the order is m00, m01, m11, m02, m12, m22.
template <class T, unsigned N>
struct symmetric_fixed {
  T v[N * (N + 1) / 2];

  static constexpr unsigned index(unsigned i, unsigned j) {
    return i <= j ? i + j * (j + 1) / 2 : j + i * (i + 1) / 2;
  }
  T& operator[](unsigned i) { return v[i]; }
  const T& operator[](unsigned i) const { return v[i]; }
  /// Either triangle: (i,j) and (j,i) are the same element.
  T& operator()(unsigned i, unsigned j) { return v[index(i, j)]; }
  const T& operator()(unsigned i, unsigned j) const { return v[index(i, j)]; }
  T operator=(T x) {
    for (unsigned i = 0; i < N * (N + 1) / 2; ++i) v[i] = x;
    return x;
  }
  T* data() { return v; }
  const T* data() const { return v; }
};

}  // namespace qz4

#endif
