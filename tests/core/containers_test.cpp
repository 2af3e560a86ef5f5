// Views, shared blocks, the growth rule and out-of-memory behaviour.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <thread>

#include "alloc_seam.h"
#include "arrays.h"
#include "qz4/fixed.h"

using namespace qz4;
using namespace qz4test;
using V = std::vector<unsigned>;

namespace {

// Blocks start 4 bytes past a 16-byte boundary, so aligning skips 12 bytes.
int live_blocks = 0;
char* skewed_alloc(unsigned bytes) {
  char* p = static_cast<char*>(std::malloc(bytes + 32));
  ++live_blocks;
  char* raw = reinterpret_cast<char*>((reinterpret_cast<std::uintptr_t>(p) + 15) & ~15ul) + 4;
  raw[-1] = char(raw - p);
  return raw;
}
void skewed_free(char* raw) {
  --live_blocks;
  std::free(raw - static_cast<unsigned char>(raw[-1]));
}

dense2D<unsigned> numbered(unsigned rows, unsigned cols) {
  dense2D<unsigned> m(rows, cols);
  for (unsigned j = 0; j < cols; ++j)
    for (unsigned i = 0; i < rows; ++i) m(i, j) = 100 * j + i;
  return m;
}

}  // namespace

TEST(Block, GrowthRuleAlignmentLimitsAndInitialisation) {
  set_block_allocator(skewed_alloc, skewed_free);
  {
    dense1D<unsigned> v;
    EXPECT_EQ(v.capacity(), 0u);
    v.push_back(7);  // c = max(0 * 2, 4): 4 * 4 + 16 bytes, 12 skipped to align
    EXPECT_EQ(v.block()->capacity, 5u);
    EXPECT_EQ(v.block()->data + 0, reinterpret_cast<unsigned*>(v.block()->raw + 12));
    for (unsigned i = 1; i < 6; ++i) v.push_back(7 + i);
    EXPECT_EQ(v.block()->capacity, 11u);  // the sixth value doubles: c = 10
    EXPECT_EQ(std_of(v), (V{7, 8, 9, 10, 11, 12}));
    dense1D<double> d;
    ASSERT_TRUE(d.reserve(100, 1));  // exactly what it needs beyond the floor
    EXPECT_EQ(d.block()->capacity, 100u);
    EXPECT_EQ(live_blocks, 2);
  }
  EXPECT_EQ(live_blocks, 0);
  set_block_allocator(nullptr, nullptr);

  qz4test::failing_allocator count(0);
  dense1D<double> d(3, 1.5);
  EXPECT_FALSE(d.reserve(0x20000000u, 1));  // over max_count: refused without asking
  EXPECT_EQ(count.calls(), 1u);
  EXPECT_EQ(d[2], 1.5);

  dense1D<dense1D<unsigned> > buckets(3);
  buckets[1].push_back(2);
  dense1D<dense1D<unsigned> > grown(buckets);
  grown.resize(100);  // a block of its own; the views inside are copied, not rebuilt
  EXPECT_EQ(grown[1].block(), buckets[1].block());
  EXPECT_TRUE(grown[99].empty() && grown[99].block());
}

TEST(View, SharingCopiesResizeAndClear) {
  dense1D<unsigned> a(4, 1), b(a);
  b[0] = 9;
  EXPECT_EQ(a[0], 9u);
  EXPECT_EQ(a.block()->ref_count(), 2);
  dense1D<unsigned> c = a.sub_vector(1, 2);
  c[1] = 5;
  EXPECT_EQ(std_of(a), (V{9, 1, 5, 1}));
  ASSERT_TRUE(b.copy(a));  // b shared a's block: it gets its own
  b[0] = 0;
  ASSERT_TRUE(a.copy(a));  // onto itself: detaches too
  a[2] = 77;
  EXPECT_EQ(std_of(c), (V{1, 5}));
  EXPECT_EQ(b[1], 1u);
  dense1D<unsigned> d;
  d.shallow_copy(c);
  d = 3u;
  EXPECT_EQ(std_of(c), (V{3, 3}));

  dense1D<unsigned> e(4, 2), f(e);  // growing one view leaves the other valid
  ASSERT_TRUE(f.resize(1000, 8));
  EXPECT_EQ(std_of(e), (V{2, 2, 2, 2}));
  EXPECT_EQ(f[3] + f[999], 10u);
  ASSERT_TRUE(e.resize(5, 9));
  EXPECT_EQ(std_of(e), (V{2, 2, 2, 2, 9}));
  e.clear();
  EXPECT_GE(e.capacity(), 5u);
  ASSERT_TRUE(e.resize(2, 1));
  EXPECT_EQ(std_of(e), (V{1, 1}));
  e.clear_hard();
  EXPECT_EQ(e.capacity(), 0u);
}

TEST(View, ExternalMemoryIsViewedInPlaceAndNeverFreed) {
  unsigned mem[10] = {0, 1, 90, 91, 10, 11, 92, 93, 20, 21};  // 2 x 3 with ld 4
  {
    dense2D<unsigned> m = dense2D<unsigned>::external(mem, 2, 3, 4);
    EXPECT_EQ(flat(m), (V{0, 1, 10, 11, 20, 21}));
    EXPECT_EQ(m.block()->capacity, 10u);  // the span, not ld * cols
    m(1, 2) = 7;
    EXPECT_EQ(mem[9], 7u);
    dense2D<unsigned> held(m);  // shared: another row count goes to a fresh block
    ASSERT_TRUE(m.resize(3, 3, 5));
    EXPECT_EQ(flat(m), (V{0, 1, 5, 10, 11, 5, 20, 7, 5}));
    EXPECT_EQ(mem[2] + mem[6], 182u);  // the gaps untouched
    ASSERT_TRUE(held.resize(2, 2));    // shrinking stays in place
    EXPECT_EQ(held.data(), mem + 0);
    ASSERT_TRUE(held.append_column(4, 6));  // no room past the span: moves
    ASSERT_TRUE(held.append_column(8, 9));
    EXPECT_EQ(flat(held), (V{0, 1, 10, 11, 4, 6, 8, 9}));
    EXPECT_EQ(mem[8], 20u);
    dense1D<unsigned> v = dense1D<unsigned>::external(mem + 4, 2);
    v.push_back(3);
    EXPECT_EQ(std_of(v), (V{10, 11, 3}));
    EXPECT_EQ(mem[6], 92u);
  }  // no view frees the array
  EXPECT_TRUE(dense2D<unsigned>::external(mem, 3, 2, 2).empty());
  EXPECT_TRUE(dense2D<unsigned>::external(nullptr, 1, 1, 1).empty());
  EXPECT_TRUE(dense2D<unsigned>::external(mem, 2, 0x80000000u, 2).empty());
  EXPECT_TRUE(dense1D<unsigned>::external(nullptr, 3).empty());
}

TEST(Matrix, ViewsLeadingDimensionResizeAndAppend) {
  dense2D<unsigned> m = numbered(4, 5);
  dense2D<unsigned> s = m.sub_matrix(0, 1, 2, 3);  // rows 0-1 of columns 1-3
  EXPECT_EQ(s.ld(), 4u);
  EXPECT_EQ(flat(s), (V{100, 101, 200, 201, 300, 301}));
  EXPECT_EQ(m.as_vector()[7], 103u);
  dense2D<unsigned> copy;
  ASSERT_TRUE(copy.copy(s));
  EXPECT_EQ(copy.ld(), 2u);
  EXPECT_EQ(flat(copy), flat(s));
  m.sub_matrix(1, 0, 2, 3) = 0u;
  EXPECT_EQ(std_of(m.col(1)), (V{100, 0, 0, 103}));

  dense2D<unsigned> g = numbered(2, 3), h(g);
  ASSERT_TRUE(h.resize(2, 5, 7));  // shared: g keeps its block and shape
  EXPECT_EQ(g.cols(), 3u);
  EXPECT_EQ(flat(h), (V{0, 1, 100, 101, 200, 201, 7, 7, 7, 7}));
  ASSERT_TRUE(h.resize(3, 5, 0));  // one more row: entries relaid in place
  EXPECT_EQ(flat(h), (V{0, 1, 0, 100, 101, 0, 200, 201, 0, 7, 7, 0, 7, 7, 0}));
  ASSERT_TRUE(h.resize(1, 2));
  EXPECT_EQ(flat(h), (V{0, 100}));
  dense2D<unsigned> big = numbered(5, 4), view = big.sub_matrix(0, 0, 2, 4);
  ASSERT_TRUE(view.resize(2, 3));  // narrower: the view keeps its ld
  EXPECT_EQ(view.ld(), 5u);
  EXPECT_EQ(view(1, 2), 201u);

  dense2D<unsigned> a;
  dense1D<unsigned> col(3, 1);
  ASSERT_TRUE(a.append_column(col));
  const unsigned room = a.capacity();
  EXPECT_GE(room, 12u);  // four columns reserved
  for (unsigned j = 2; j < 5; ++j) {
    col = j;
    ASSERT_TRUE(a.append_column(col));
  }
  EXPECT_EQ(a.capacity(), room);
  EXPECT_EQ(flat(a), (V{1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4}));
  EXPECT_FALSE(a.append_column(7u, 8u));  // wrong row count
  a.clear();                              // ld 0: the append must not divide by it
  ASSERT_TRUE(a.append_column(7u, 8u));
  EXPECT_EQ(flat(a), (V{7, 8}));
}

TEST(OutOfMemory, EveryGrowingOperationReportsFalseAndKeepsTheView) {
  dense1D<unsigned> v(2, 3);
  dense2D<unsigned> m = numbered(2, 2);
  qz4test::failing_allocator seam(1);
  EXPECT_FALSE(v.reserve(100, 1) || v.resize(100, 1));
  EXPECT_EQ(v.size(), 2u);
  EXPECT_FALSE(v.resize(100));
  EXPECT_EQ(v.size(), v.capacity());  // what fits
  v.push_back(9);                     // past the capacity: lost without a word
  EXPECT_EQ(v.size(), v.capacity());
  dense1D<unsigned> w;
  EXPECT_FALSE(w.copy(v));
  EXPECT_TRUE(w.empty());
  EXPECT_FALSE(m.resize(2, 100, 0) || m.resize(3, 100, 0) || m.reserve(2, 100));
  EXPECT_EQ(flat(m), (V{0, 1, 100, 101}));
  dense2D<unsigned> e, c;
  EXPECT_FALSE(e.append_column(1u, 2u) || c.copy(m));
  EXPECT_TRUE(e.empty() && c.empty());
}

TEST(FixedValues, AggregatesAndPackedSymmetricLayout) {
  static_assert(sizeof(symmetric_fixed<double, 3>) == 6 * sizeof(double), "packed");
  matrix_fixed<double, 3, 2> t = {1, 2, 3, 4, 5, 6};  // column-major
  symmetric_fixed<double, 3> s = {0, 1, 2, 3, 4, 5};  // m00 m01 m11 m02 m12 m22
  symmetric_fixed<double, 2> s2 = {7, 8, 9};
  EXPECT_EQ((std::vector<double>{t(0, 1), t(2, 0), s(1, 0), s(0, 2), s(2, 1), s(2, 2), s2(1, 0)}),
            (std::vector<double>{4, 3, 1, 3, 4, 5, 8}));
}

TEST(View, ReferenceCountsChangeAtomically) {
  qz4test::failing_allocator count(0);
  {
    dense1D<double> shared(16, 1.0);
    auto churn = [&shared] {
      for (int i = 0; i < 20000; ++i) dense1D<double>(shared).sub_vector(2, 3);
    };
    std::thread a(churn), b(churn);
    a.join();
    b.join();
    EXPECT_EQ(shared.block()->ref_count(), 1);
  }
  EXPECT_EQ(count.calls(), 1u);
}
