#include <gtest/gtest.h>

#include <cmath>

#include "arrays.h"
#include "qz4/histogram.h"

TEST(Histogram, FixedRangeBinsAndOutliers) {
  qz4::misc::histogram h(0.0, 1.0, 4);
  for (double v : {0.0, 0.1, 0.25, 0.5, 0.99, 1.0, -0.5, 2.0}) h.process(v);
  h.process(std::nan(""));
  EXPECT_EQ(h.bins(), (std::vector<unsigned long>{2, 1, 1, 2}));  // 1.0 falls in the last bin
  EXPECT_EQ((std::vector<double>{double(h.below()), double(h.above()), double(h.count()),
                                 double(h.nan_count()), h.min(), h.max()}),
            (std::vector<double>{1, 1, 9, 1, -0.5, 2.0}));
  EXPECT_DOUBLE_EQ(h.mean(), (0.1 + 0.25 + 0.5 + 0.99 + 1.0 - 0.5 + 2.0) / 8);
  EXPECT_EQ(h.summary(),
            "[           0,         0.25) 2\n[        0.25,          0.5) 1\n"
            "[         0.5,         0.75) 1\n[        0.75,            1] 2\n"
            "below 1, above 1\ncount 9, min -0.5, mean 0.5425, max 2\n");
}

TEST(Histogram, RangeFromDataAndVectorFeed) {
  qz4::misc::histogram h;
  EXPECT_TRUE(std::isnan(h.mean()));
  h.process(qz4test::vec(std::vector<double>{10, 11, 12, 13, 14}));
  EXPECT_EQ((std::vector<double>{h.lower(), h.upper()}), (std::vector<double>{10, 14}));
  EXPECT_EQ(h.bins(), (std::vector<unsigned long>{1, 0, 1, 0, 0, 1, 0, 1, 0, 1}));
  EXPECT_EQ(h.mean(), 12.0);
}
