#include <gtest/gtest.h>

#include <cmath>

#include "qz4/histogram.h"

TEST(Histogram, FixedRangeBinsAndOutliers) {
  qz4::misc::histogram h(0.0, 1.0, 4);
  for (double v : {0.0, 0.1, 0.25, 0.5, 0.99, 1.0, -0.5, 2.0}) h.process(v);
  h.process(std::nan(""));
  const std::vector<unsigned long> b = h.bins();
  EXPECT_EQ(b, (std::vector<unsigned long>{2, 1, 1, 2}));  // 1.0 falls in the last bin
  EXPECT_EQ(h.below(), 1u);
  EXPECT_EQ(h.above(), 1u);
  EXPECT_EQ(h.count(), 9u);
  EXPECT_EQ(h.nan_count(), 1u);
  EXPECT_EQ(h.min(), -0.5);
  EXPECT_EQ(h.max(), 2.0);
  EXPECT_DOUBLE_EQ(h.mean(), (0.1 + 0.25 + 0.5 + 0.99 + 1.0 - 0.5 + 2.0) / 8);
  EXPECT_NE(h.summary().find("count 9"), std::string::npos);
}

TEST(Histogram, RangeFromDataAndVectorFeed) {
  qz4::misc::histogram h;
  EXPECT_TRUE(std::isnan(h.mean()));
  qz4::dense1D<double> v(5);
  for (unsigned i = 0; i < 5; ++i) v[i] = 10.0 + i;
  h.process(v);
  EXPECT_EQ(h.lower(), 10.0);
  EXPECT_EQ(h.upper(), 14.0);
  EXPECT_EQ(h.bins(), (std::vector<unsigned long>{1, 0, 1, 0, 0, 1, 0, 1, 0, 1}));
  EXPECT_EQ(h.mean(), 12.0);
}
