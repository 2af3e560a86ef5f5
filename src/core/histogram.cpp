#include "qz4/histogram.h"

#include <cmath>
#include <cstdio>
#include <limits>

namespace qz4 {
namespace misc {

histogram::histogram()
    : fixed_(false),
      lo_(0),
      hi_(0),
      nbins_(10),
      count_(0),
      nan_(0),
      below_(0),
      above_(0),
      min_(std::numeric_limits<double>::infinity()),
      max_(-std::numeric_limits<double>::infinity()),
      sum_(0) {}

histogram::histogram(double lo, double hi, unsigned bins) : histogram() {
  fixed_ = true;
  lo_ = lo;
  hi_ = hi;
  nbins_ = bins ? bins : 1;
  counts_.assign(nbins_, 0);
}

void histogram::process(double v) {
  ++count_;
  if (std::isnan(v)) {
    ++nan_;
    return;
  }
  if (v < min_) min_ = v;
  if (v > max_) max_ = v;
  sum_ += v;
  if (!fixed_) {
    values_.push_back(v);
    return;
  }
  if (v < lo_) {
    ++below_;
  } else if (v > hi_) {
    ++above_;
  } else {
    const double width = (hi_ - lo_) / nbins_;
    unsigned b = width > 0 ? unsigned((v - lo_) / width) : 0;
    if (b >= nbins_) b = nbins_ - 1;
    ++counts_[b];
  }
}

void histogram::process(const dense1D<double>& v) {
  const double* p = v.data();
  for (unsigned i = 0, n = v.size(); i < n; ++i) process(p[i]);
}

double histogram::mean() const {
  const unsigned long n = count_ - nan_;
  return n ? sum_ / double(n) : std::numeric_limits<double>::quiet_NaN();
}

double histogram::lower() const { return fixed_ ? lo_ : (values_.empty() ? 0.0 : min_); }
double histogram::upper() const { return fixed_ ? hi_ : (values_.empty() ? 0.0 : max_); }

std::vector<unsigned long> histogram::bins() const {
  if (fixed_) return counts_;
  std::vector<unsigned long> c(nbins_, 0);
  if (values_.empty()) return c;
  const double lo = lower(), width = (upper() - lo) / nbins_;
  for (double v : values_) {
    unsigned b = width > 0 ? unsigned((v - lo) / width) : 0;
    if (b >= nbins_) b = nbins_ - 1;
    ++c[b];
  }
  return c;
}

std::string histogram::summary() const {
  std::string s;
  char line[128];
  const std::vector<unsigned long> c = bins();
  const double lo = lower(), width = (upper() - lo) / nbins_;
  for (unsigned b = 0; b < nbins_; ++b) {
    std::snprintf(line, sizeof line, "[%12.6g, %12.6g%c %lu\n", lo + b * width,
                  lo + (b + 1) * width, b + 1 == nbins_ ? ']' : ')', c[b]);
    s += line;
  }
  if (below_ || above_) {
    std::snprintf(line, sizeof line, "below %lu, above %lu\n", below_, above_);
    s += line;
  }
  std::snprintf(line, sizeof line, "count %lu, min %g, mean %g, max %g\n", count_, min_, mean(),
                max_);
  s += line;
  return s;
}

}  // namespace misc
}  // namespace qz4
