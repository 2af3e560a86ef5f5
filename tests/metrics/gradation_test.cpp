// The H-shock and the gradation: worked examples by hand, properties on
// shuffled grids, statuses in their order.
#include "measures.h"

static const double ln2 = std::log(2.0), e1 = std::exp(1.0) - 1;

// Nodes on the x axis of the plane.
static dense2D<double> line(const Vd& x) {
  Vd xy;
  for (double v : x) xy.push_back(v), xy.push_back(0);
  return points(2, xy);
}

TEST(HShock, WorkedValuesAndStatuses) {
  const dense2D<double> pos = line({0, 1, 5}), bad(5, 3);
  const dense2D<unsigned> e01 = conn(2, {{0, 1}});
  const dense1D<double> ones(3, 1.0);
  dense1D<double> s;
  dense2D<double> M = iso(sizes({1, 2, 7}), 2);
  ASSERT_EQ(H_shock(pos, conn(2, {{0, 1}, {1, 0}}), sizes({1, 2, 7}), s), 0);
  EXPECT_TRUE(Near(std_of(s), {e1, e1, 0}, 1e-14));  // node 2 on no edge
  s[2] = 0.5;
  ASSERT_EQ(H_shock(pos, e01, M, s), 0);  // an entry is raised, never lowered
  EXPECT_TRUE(Near(std_of(s), {e1, e1, 0.5}, 1e-14));
  M(0, 1) = -1;  // not positive along the edge; then a size not above 0
  EXPECT_EQ(Vi({H_shock(pos, e01, M, s), H_shock(pos, conn(2, {{1, 2}}), sizes({1, 0, 1}), s)}),
            Vi({0, 0}));
  EXPECT_EQ(Vd({s[0], s[2]}), Vd({DBL_MAX, DBL_MAX}));
  // In space: sizes 1 and 2 along d = (1, 2, 2), the second tensor with every
  // packed entry distinct (its extra terms vanish along d): e^(1/3) - 1.
  dense1D<double> u;
  ASSERT_EQ(H_shock(points(3, {0, 0, 0, 1, 2, 2}), e01,
                    mat(6, Vd{1, 0, 1, 0, 0, 1, .33, .02, .21, -.06, .03, .25}), u),
            0);
  EXPECT_TRUE(Near(std_of(u), {std::cbrt(std::exp(1.0)) - 1, std::cbrt(std::exp(1.0)) - 1}, 1e-14));
  dense1D<double> t;  // two rows hold no tensor of the plane, whatever they say
  ASSERT_EQ(H_shock(pos, e01, mat(2, Vd{1, 0, 1, 0, 1, 0}), t), 0);
  EXPECT_EQ(t[0], DBL_MAX);
  EXPECT_EQ(Vi({H_shock(bad, dense2D<unsigned>(2, 0), sizes({1}), s), H_shock(bad, e01, ones, s),
                H_shock(pos, conn(2, {{0, 3}}), ones, s),
                H_shock(pos, dense2D<unsigned>(3, 1, 0u), ones, s)}),
            Vi({0, -1, -2, -2}));
}

TEST(Gradation, WorkedExamples) {
  struct example {
    Vd x, h;
    std::initializer_list<std::initializer_list<unsigned>> e;
    std::vector<unsigned> hard;
    int changes;
    Vd expected;
  } examples[] = {
      {{0, 1, 0}, {1, 10, 5}, {{0, 1}}, {}, 1, {1, 1 + ln2, 5}},
      {{0, 1, 0}, {1, 10, 5}, {{0, 1}}, {1}, 1, {10 - ln2, 10, 5}},
      {{0, 1, 3}, {4, 10, 1}, {{0, 1}, {1, 2}}, {}, 1, {4, 4 + ln2, 1}},  // (1, 2) stays steep
      {{0, 1, 3}, {4, 10, 1}, {{0, 1}, {1, 2}}, {0, 1, 2}, 0, {4, 10, 1}},
      {{0, 1, 3}, {2, 0, 9}, {{0, 1}}, {}, 1, {2, 2, 9}},      // a hole filled
      {{0, 1, 3}, {0, 2, 9}, {{0, 1}}, {}, 2, {ln2, ln2, 9}},  // shrink, then fill
      {{0, 1, 3}, {0, -1, 9}, {{0, 1}}, {}, 0, {0, -1, 9}},    // nothing to fill from
      {{0, 1, 3}, {-10, 1, 9}, {{0, 1}}, {}, 1, {1, 1, 9}},    // no step below 0; filled
      {{0, 1, 3}, {3, 3, 3}, {{0, 1}, {1, 2}}, {}, 0, {3, 3, 3}},
  };
  for (const example& k : examples) {
    SCOPED_TRACE(&k - examples);
    dense1D<double> H = sizes(k.h);
    dense2D<double> M = iso(H, 2);
    auto G = [&](auto& f) {
      return bound_metric_gradation(line(k.x), conn(2, k.e), ET_EDGE2, vec(k.hard), 1.0, f);
    };
    // A zero tensor is no reference to blend from: only sizes shrink to it.
    // Sizes not above 0 stand as the zero tensor.
    const bool blend = !(k.h[0] == 0 && k.changes == 2);
    EXPECT_EQ(Vi({G(H), blend ? G(M) : k.changes}), Vi({k.changes, k.changes}));
    Vd tensors;
    for (double v : k.expected) tensors.push_back(v > 0 ? 1 / (v * v) : 0);
    EXPECT_TRUE(Near(std_of(H), k.expected, 1e-12) &&
                (!blend || Near({M(0, 0), M(0, 1), M(0, 2)}, tensors, 1e-12)));
  }
}

TEST(Gradation, StatusesInOrder) {
  const dense2D<double> pos = line({0, 1, 2}), pos3(3, 3, 0.0), pos4(4, 3);
  const dense2D<unsigned> e = conn(2, {{0, 1}}), e9 = conn(2, {{0, 9}}), empty(2, 0);
  const dense1D<unsigned> none, hard3 = vec({3});
  dense1D<double> H = sizes({1, 2, 3}), two = sizes({1, 2});
  dense2D<double> M = iso(sizes({1, 2, 3, 4}), 2);  // 3 rows with 3-row pos
  auto G = [](const dense2D<double>& p, const dense2D<unsigned>& c, const dense1D<unsigned>& hard,
              double g, auto& f) { return bound_metric_gradation(p, c, ET_EDGE2, hard, g, f); };
  EXPECT_EQ(Vi({G(pos4, e9, hard3, 0, H), G(pos, e9, hard3, 0, H), G(pos, e, hard3, 0, H),
                G(pos, e, none, 0, two), G(pos, e, none, -1, two), G(pos, e, none, DBL_MAX, two),
                G(pos, e, none, 1, two), G(pos3, e, none, 1, H), G(pos3, e, none, 1, M),
                G(pos, empty, none, 1, H), G(pos, e, none, NAN, H)}),
            Vi({-1, -2, -3, -5, -5, -5, -6, -6, -6, 0, 0}));
  EXPECT_EQ(H[1], 2.0);
  dense1D<double> h = sizes({1, 10, 3});
  dense2D<double> m = iso(h, 2);
  for (int tensors = 0; tensors < 2; ++tensors)
    expect_ok_or_out_of_memory([&] {
      h[1] = 10, m(0, 1) = m(2, 1) = 0.01;
      const int s = tensors ? G(pos, e, none, 1, m) : G(pos, e, none, 1, h);
      return s == 1 ? 0 : s;
    });
}

// On shuffled grids with a noisy field: sizes only shrink without hard nodes,
// hard sizes never move, the worst shock falls, and a field of isotropic
// tensors grades as its sizes do.
TEST(Gradation, ShuffledGridsSizesAndTensorsAgree) {
  for (support::mesh m : {support::tetra_grid(4, 3, 5), support::tria_grid(9, 7)}) {
    support::shuffle(m, 3);
    const unsigned nodes = m.pos.cols();
    dense1D<double> H0(nodes), before, after;
    std::mt19937 g(5);
    std::uniform_real_distribution<double> noise(0.5, 1.5);
    for (unsigned n = 0; n < nodes; ++n) H0[n] = 0.05 * noise(g) * (1 + 4 * (m.pos(0, n) > 0.5));
    dense2D<unsigned> edges;
    copy_edges(m.conn, m.type, edges);
    H_shock(m.pos, edges, H0, before);
    for (int hard_nodes = 0; hard_nodes < 2; ++hard_nodes) {
      const dense1D<unsigned> hard = hard_nodes ? vec({0u, nodes - 1}) : dense1D<unsigned>();
      dense1D<double> H = sizes(std_of(H0));
      dense2D<double> M = iso(H0, m.pos.rows());
      const int count = bound_metric_gradation(m.pos, m.conn, m.type, hard, 0.2, H);
      EXPECT_GT(count, hard_nodes ? -1 : 0);
      EXPECT_EQ(bound_metric_gradation(m.pos, m.conn, m.type, hard, 0.2, M), count);
      H_shock(m.pos, edges, H, after);
      EXPECT_TRUE(hard_nodes || *std::max_element(after.begin(), after.end()) <
                                    *std::max_element(before.begin(), before.end()));
      for (unsigned n = 0; n < nodes; ++n)
        EXPECT_TRUE((hard_nodes || H[n] <= H0[n]) &&
                    std::fabs(1 / std::sqrt(M(0, n)) - H[n]) <= 1e-9 * H[n])
            << n;
      for (unsigned n : hard) EXPECT_EQ(H[n], H0[n]);
    }
  }
}
