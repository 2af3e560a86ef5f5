// A histogram of doubles, fed value by value or a vector at a time.
#ifndef QZ4_HISTOGRAM_H
#define QZ4_HISTOGRAM_H

#include <string>
#include <vector>

#include "qz4/dense.h"
#include "qz4/export.h"

namespace qz4 {
namespace misc {

/// Counts values in equal bins. A histogram made with a range bins as it goes
/// and counts values outside the range apart; one made without a range keeps
/// its values and finds the range from them when it is read. NaN values are
/// counted by count() and nan_count() but by no bin and no statistic.
class QZ4_API histogram {
 public:
  /// Range found from the data, 10 bins.
  histogram();
  /// Fixed range [lo, hi] in `bins` equal bins (at least 1); a value equal to
  /// hi falls in the last bin.
  histogram(double lo, double hi, unsigned bins);

  /// Adds one value.
  void process(double v);
  /// Adds all elements of v.
  void process(const dense1D<double>& v);

  /// Values fed, NaN included.
  unsigned long count() const { return count_; }
  unsigned long nan_count() const { return nan_; }
  /// Smallest and largest value fed; +inf and -inf before any.
  double min() const { return min_; }
  double max() const { return max_; }
  /// Mean of the values that are not NaN; NaN before any.
  double mean() const;

  /// Lower and upper bound of the bins.
  double lower() const;
  double upper() const;
  /// Count of each bin, lowest first.
  std::vector<unsigned long> bins() const;
  /// Values below lower() and above upper() (always 0 without a fixed range).
  unsigned long below() const { return below_; }
  unsigned long above() const { return above_; }

  /// A printable table: one line per bin with its bounds and count, then the
  /// count, min, mean and max.
  std::string summary() const;

 private:
  bool fixed_;
  double lo_, hi_;
  unsigned nbins_;
  std::vector<unsigned long> counts_;
  std::vector<double> values_;
  unsigned long count_, nan_, below_, above_;
  double min_, max_, sum_;
};

}  // namespace misc
}  // namespace qz4

#endif
