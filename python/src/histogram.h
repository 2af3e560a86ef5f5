// The histogram class of the module: the library's histogram behind a lock,
// so that threads feeding one histogram with the GIL released take turns.
#ifndef QZ4PY_HISTOGRAM_H
#define QZ4PY_HISTOGRAM_H

#include <pybind11/pybind11.h>

#include <mutex>

#include "qz4/histogram.h"

namespace qz4py {

class histogram {
 public:
  histogram() = default;
  histogram(double lo, double hi, unsigned bins) : h_(lo, hi, bins) {}

  /// Runs f on the histogram with the GIL released.
  template <class F>
  void use(F&& f) {
    pybind11::gil_scoped_release release;
    std::lock_guard<std::mutex> lock(m_);
    f(h_);
  }

  /// Runs f on the histogram, GIL held.
  template <class F>
  auto read(F&& f) {
    std::lock_guard<std::mutex> lock(m_);
    return f(h_);
  }

 private:
  qz4::misc::histogram h_;
  std::mutex m_;
};

}  // namespace qz4py

#endif
