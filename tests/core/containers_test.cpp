// Views, shared blocks, the growth rule and out-of-memory behaviour.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <thread>
#include <utility>

#include "alloc_seam.h"
#include "qz4/dense.h"
#include "qz4/fixed.h"

using qz4::dense1D;
using qz4::dense2D;

namespace {

// An allocator whose blocks start 4 bytes past a 16-byte boundary, so that
// the aligned start of a block skips 12 bytes; it also counts live blocks.
int live_blocks = 0;
char* skewed_alloc(unsigned bytes) {
  char* p = static_cast<char*>(std::malloc(bytes + 32));
  if (!p) return nullptr;
  ++live_blocks;
  char* base =
      reinterpret_cast<char*>((reinterpret_cast<std::uintptr_t>(p) + 15) & ~std::uintptr_t(15));
  char* raw = base + 4;
  raw[-1] = char(raw - p);  // distance back to what malloc gave
  return raw;
}
void skewed_free(char* raw) {
  --live_blocks;
  std::free(raw - static_cast<unsigned char>(raw[-1]));
}

struct skewed_allocator {
  skewed_allocator() {
    live_blocks = 0;
    qz4::set_block_allocator(skewed_alloc, skewed_free);
  }
  ~skewed_allocator() { qz4::set_block_allocator(nullptr, nullptr); }
};

dense2D<unsigned> numbered(unsigned rows, unsigned cols) {
  dense2D<unsigned> m(rows, cols);
  for (unsigned j = 0; j < cols; ++j)
    for (unsigned i = 0; i < rows; ++i) m(i, j) = 100 * j + i;
  return m;
}

}  // namespace

TEST(Block, GrowthRuleAlignmentAndCapacity) {
  skewed_allocator seam;
  {
    dense1D<unsigned> v;
    EXPECT_EQ(v.block()->data, nullptr);
    EXPECT_EQ(v.capacity(), 0u);
    v.push_back(7);
    // c = max(0*2, 4) = 4, asked 4*4+16 bytes; 12 are skipped to align.
    EXPECT_EQ(v.block()->capacity, 5u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(v.block()->data) % 16, 0u);
    EXPECT_EQ(v.block()->data + 0, reinterpret_cast<unsigned*>(v.block()->raw + 12));
    for (unsigned i = 1; i < 6; ++i) v.push_back(7 + i);
    // The sixth value doubles: c = 10, capacity 11.
    EXPECT_EQ(v.block()->capacity, 11u);
    for (unsigned i = 0; i < 6; ++i) EXPECT_EQ(v[i], 7 + i);
    // reserve asks for exactly what it needs beyond the floor.
    dense1D<double> d;
    ASSERT_TRUE(d.reserve(100, 1));
    EXPECT_EQ(d.block()->capacity, 100u + (16 - 12) / 8);
    EXPECT_EQ(d.size(), 0u);
    EXPECT_EQ(live_blocks, 2);
  }
  EXPECT_EQ(live_blocks, 0);
}

TEST(Block, CountLimitsFailWithoutAllocating) {
  EXPECT_EQ(qz4::vector_num<unsigned>::max_count, 0x3FFFFFFFu);
  EXPECT_EQ(qz4::vector_num<double>::max_count, 0x1FFFFFFFu);
  EXPECT_EQ((qz4::vector_num<std::array<unsigned, 3> >::max_count), 357913941u);
  qz4test::failing_allocator count(0);
  dense1D<double> d(3, 1.5);
  EXPECT_FALSE(d.reserve(0x20000000u, 1));
  EXPECT_EQ(count.calls(), 1u);  // only the construction allocated
  EXPECT_EQ(d.size(), 3u);
  EXPECT_EQ(d[2], 1.5);
}

TEST(Block, ElementsOfPairsPointersAndViewsAreInitialised) {
  dense1D<std::pair<unsigned, unsigned> > pairs;
  pairs.push_back({3, 4});
  ASSERT_GE(pairs.block()->capacity, 4u);
  for (unsigned i = 1; i < pairs.block()->capacity; ++i) {
    EXPECT_EQ(pairs.block()->data[i].first, 0u);
    EXPECT_EQ(pairs.block()->data[i].second, 0u);
  }
  dense1D<std::pair<unsigned, unsigned>*> pointers(5);
  for (auto* p : pointers) EXPECT_EQ(p, nullptr);

  dense1D<dense1D<std::pair<unsigned, unsigned> > > buckets(3);
  for (auto& b : buckets) {
    EXPECT_TRUE(b.empty());
    EXPECT_NE(b.block(), nullptr);
  }
  buckets[1].push_back({1, 2});
  dense1D<dense1D<std::pair<unsigned, unsigned> > > grown(buckets);
  grown.resize(100);  // moves to a block of its own, the views inside are copied
  EXPECT_EQ(grown[1].size(), 1u);
  EXPECT_EQ(grown[1].block(), buckets[1].block());
  dense1D<dense2D<unsigned> > matrices(2);
  EXPECT_TRUE(matrices[1].empty());
}

TEST(View, CopiesShareAndCopyMakesPrivateElements) {
  dense1D<unsigned> a(4, 1);
  dense1D<unsigned> b(a);
  b[0] = 9;
  EXPECT_EQ(a[0], 9u);
  EXPECT_EQ(a.block()->ref_count(), 2);

  dense1D<unsigned> c = a.sub_vector(1, 2);
  c[1] = 5;
  EXPECT_EQ(a[2], 5u);
  EXPECT_EQ(c.offset(), 1u);

  ASSERT_TRUE(b.copy(a));  // b shared a's block: it must get its own now
  EXPECT_NE(b.block(), a.block());
  b[0] = 0;
  EXPECT_EQ(a[0], 9u);
  ASSERT_TRUE(a.copy(a));  // copy onto itself also detaches
  EXPECT_NE(a.block(), c.block());
  a[2] = 77;
  EXPECT_EQ(c[1], 5u);

  dense1D<unsigned> d;
  d.shallow_copy(c);
  EXPECT_EQ(d.block(), c.block());
  EXPECT_EQ(d.offset(), 1u);
  EXPECT_EQ(d.size(), 2u);
  d = 3u;
  EXPECT_EQ(c[0], 3u);
  EXPECT_EQ(c[1], 3u);
}

TEST(View, GrowingOneOfSeveralViewsKeepsTheOthersValid) {
  dense1D<unsigned> a(4, 2);
  dense1D<unsigned> b(a);
  ASSERT_TRUE(b.resize(1000, 8));
  EXPECT_NE(a.block(), b.block());
  for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(a[i], 2u);
  for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(b[i], 2u);
  EXPECT_EQ(b[999], 8u);

  dense2D<double> m(2, 3, 1.0);
  dense2D<double> n(m);
  ASSERT_TRUE(n.resize(2, 50, 4.0));
  EXPECT_EQ(m.cols(), 3u);
  EXPECT_EQ(m(1, 2), 1.0);
  EXPECT_EQ(n(1, 2), 1.0);
  EXPECT_EQ(n(0, 49), 4.0);
}

TEST(View, ResizeKeepsAndFills) {
  dense1D<unsigned> v(3, 4);
  ASSERT_TRUE(v.resize(5, 9));
  EXPECT_EQ(v[2], 4u);
  EXPECT_EQ(v[3], 9u);
  v.clear();
  EXPECT_GE(v.capacity(), 5u);  // capacity survives clear
  ASSERT_TRUE(v.resize(2, 1));
  EXPECT_EQ(v[0], 1u);
  v.clear_hard();
  EXPECT_EQ(v.capacity(), 0u);
  EXPECT_TRUE(v.resize(3));
  EXPECT_EQ(v.size(), 3u);
}

TEST(Matrix, ShapeViewsAndLeadingDimension) {
  dense2D<unsigned> m = numbered(4, 5);
  EXPECT_EQ(m.ld(), 4u);
  dense2D<unsigned> s = m.sub_matrix(0, 1, 2, 3);  // rows 0-1 of columns 1-3
  EXPECT_EQ(s.ld(), 4u);
  EXPECT_EQ(s.rows(), 2u);
  EXPECT_EQ(s(1, 2), 301u);
  dense1D<unsigned> c = s.col(1);
  EXPECT_EQ(c.size(), 2u);
  EXPECT_EQ(c[0], 200u);
  dense1D<unsigned> flat = m.as_vector();
  EXPECT_EQ(flat.size(), 20u);
  EXPECT_EQ(flat[7], 103u);
  s(0, 0) = 5;
  EXPECT_EQ(m(0, 1), 5u);

  dense2D<unsigned> copy;
  ASSERT_TRUE(copy.copy(s));
  EXPECT_EQ(copy.ld(), 2u);
  EXPECT_EQ(copy(1, 2), 301u);
  EXPECT_NE(copy.block(), m.block());

  EXPECT_TRUE(dense2D<double>(0, 5).empty());
  EXPECT_TRUE(dense2D<double>(5, 0).empty());
  m.clear();
  EXPECT_TRUE(m.empty());
  EXPECT_EQ(m.ld(), 0u);
  EXPECT_GE(m.capacity(), 20u);
}

TEST(Matrix, ResizeKeepsColumnsAndRelaysRows) {
  dense2D<unsigned> m = numbered(2, 3);
  ASSERT_TRUE(m.resize(2, 5, 7));
  EXPECT_EQ(m(1, 2), 201u);
  EXPECT_EQ(m(0, 3), 7u);
  EXPECT_EQ(m(1, 4), 7u);
  ASSERT_TRUE(m.resize(3, 5, 0));  // one more row: old entries stay in place
  EXPECT_EQ(m.ld(), 3u);
  EXPECT_EQ(m(1, 2), 201u);
  EXPECT_EQ(m(2, 2), 0u);
  EXPECT_EQ(m(0, 4), 7u);
  ASSERT_TRUE(m.resize(1, 5));
  EXPECT_EQ(m(0, 2), 200u);
  EXPECT_EQ(m(0, 4), 7u);
  ASSERT_TRUE(m.resize(1, 2));  // shrinking keeps the block
  EXPECT_EQ(m(0, 1), 100u);

  dense2D<unsigned> big = numbered(5, 4);
  dense2D<unsigned> view = big.sub_matrix(0, 0, 2, 4);
  ASSERT_TRUE(view.resize(2, 3));  // a narrower view keeps its ld
  EXPECT_EQ(view.ld(), 5u);
  EXPECT_EQ(view(1, 2), 201u);
}

TEST(Matrix, AppendColumnReservesByDoubling) {
  dense2D<unsigned> m;
  dense1D<unsigned> col(3, 1);
  ASSERT_TRUE(m.append_column(col));
  EXPECT_EQ(m.rows(), 3u);
  EXPECT_EQ(m.cols(), 1u);
  const unsigned first_capacity = m.capacity();
  EXPECT_GE(first_capacity, 12u);  // room for four columns
  for (unsigned j = 1; j < 4; ++j) {
    col = j + 1;
    ASSERT_TRUE(m.append_column(col));
  }
  EXPECT_EQ(m.capacity(), first_capacity);
  EXPECT_EQ(m(2, 3), 4u);
  EXPECT_FALSE(m.append_column(7u, 8u));  // wrong row count: nothing changes
  EXPECT_EQ(m.cols(), 4u);

  m.clear();  // ld is 0 now: the append must not divide by it
  ASSERT_TRUE(m.append_column(7u, 8u));
  EXPECT_EQ(m.rows(), 2u);
  EXPECT_EQ(m(1, 0), 8u);
}

TEST(Matrix, FixedValueFill) {
  dense2D<unsigned> m = numbered(4, 3);
  dense2D<unsigned> s = m.sub_matrix(1, 0, 2, 3);
  s = 0u;
  EXPECT_EQ(m(0, 1), 100u);
  EXPECT_EQ(m(1, 1), 0u);
  EXPECT_EQ(m(3, 2), 203u);
}

TEST(OutOfMemory, EveryGrowingOperationReportsFalseAndKeepsTheView) {
  dense1D<unsigned> v(2, 3);
  dense2D<unsigned> m = numbered(2, 2);
  qz4test::failing_allocator seam(1);
  EXPECT_FALSE(v.reserve(100, 1));
  EXPECT_FALSE(v.resize(100, 1));
  EXPECT_EQ(v.size(), 2u);
  EXPECT_FALSE(v.resize(100));
  EXPECT_EQ(v.size(), v.capacity());  // what fits
  const unsigned full = v.size();
  v.push_back(9);  // past the capacity: lost without a word
  EXPECT_EQ(v.size(), full);
  EXPECT_EQ(v[0], 3u);
  dense1D<unsigned> w;
  EXPECT_FALSE(w.copy(v));
  EXPECT_TRUE(w.empty());
  EXPECT_FALSE(m.resize(2, 100, 0));
  EXPECT_FALSE(m.resize(3, 100, 0));
  EXPECT_FALSE(m.reserve(2, 100));
  EXPECT_EQ(m.cols(), 2u);
  EXPECT_EQ(m(1, 1), 101u);
  dense2D<unsigned> e;
  EXPECT_FALSE(e.append_column(1u, 2u));
  EXPECT_TRUE(e.empty());
  dense2D<unsigned> c;
  EXPECT_FALSE(c.copy(m));
  EXPECT_TRUE(seam.failed());
}

TEST(FixedValues, AggregatesAndPackedSymmetricLayout) {
  qz4::vector_fixed<double, 3> p = {1.0, 2.0, 3.0};
  EXPECT_EQ(p[2], 3.0);
  EXPECT_EQ(p = 0.5, 0.5);
  EXPECT_EQ(p[1], 0.5);
  static_assert(sizeof(qz4::vector_fixed<double, 9>) == 9 * sizeof(double), "no other field");
  static_assert(sizeof(qz4::symmetric_fixed<double, 3>) == 6 * sizeof(double), "packed");

  qz4::matrix_fixed<double, 3, 2> t = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(t(0, 1), 4.0);  // column-major
  EXPECT_EQ(t(2, 0), 3.0);

  qz4::symmetric_fixed<double, 3> s = {0, 1, 2, 3, 4, 5};  // m00 m01 m11 m02 m12 m22
  EXPECT_EQ(s(0, 0), 0.0);
  EXPECT_EQ(s(1, 1), 2.0);
  EXPECT_EQ(s(2, 2), 5.0);
  EXPECT_EQ(s(0, 2), 3.0);
  EXPECT_EQ(s(2, 0), 3.0);
  EXPECT_EQ(s(2, 1), 4.0);
  qz4::symmetric_fixed<double, 2> s2 = {7, 8, 9};
  EXPECT_EQ(s2(1, 0), 8.0);
  EXPECT_EQ(s2(1, 1), 9.0);
}

TEST(View, ReferenceCountsChangeAtomically) {
  qz4test::failing_allocator count(0);
  {
    dense1D<double> shared(16, 1.0);
    auto churn = [&shared] {
      for (int i = 0; i < 20000; ++i) {
        dense1D<double> copy(shared);
        dense1D<double> slice = copy.sub_vector(2, 3);
        (void)slice;
      }
    };
    std::thread a(churn), b(churn);
    a.join();
    b.join();
    EXPECT_EQ(shared.block()->ref_count(), 1);
  }
  EXPECT_EQ(count.calls(), 1u);
}
