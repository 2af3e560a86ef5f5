#include "editing/merge_paths.h"
#include "editing_test_util.h"
#include "structured_mesh.h"

namespace qz4test {

// The list worker as written: a tree from the shuffled first list, one box
// per node of the second in the tree's pre-order, every pair within the
// tolerance, a stable sort by distance, the pairs applied while both nodes
// stand for themselves, then chains followed. Gives the count and the map.
template <unsigned D>
std::tuple<int, V> reference_merge(const dense2D<double>& pos, const V& l1, const V& l2,
                                   double tol) {
  auto distinct = [](const V& l) {
    V u;
    for (unsigned v : l)
      if (v != NO_ID && std::find(u.begin(), u.end(), v) == u.end()) u.push_back(v);
    return u;
  };
  const V u1 = distinct(l1), u2 = distinct(l2);
  node_tree<D> tree(&pos);
  insert_one_by_one(tree, u1);
  std::vector<std::tuple<double, unsigned, unsigned>> pairs;  // distance, kept, dropped
  for (unsigned a : u2) {
    double lo[D], hi[D];
    for (unsigned k = 0; k < D; ++k) lo[k] = pos(k, a) - tol, hi[k] = pos(k, a) + tol;
    V found;
    reference_box(tree, 0, 0, lo, hi, found);
    for (unsigned b : found) {
      const double d = std::sqrt(dist2(pos, b, &pos(0, a), pos.rows()));
      if (b != a && d <= tol) pairs.emplace_back(d, a, b);
    }
  }
  std::stable_sort(pairs.begin(), pairs.end(),
                   [](const auto& x, const auto& y) { return std::get<0>(x) < std::get<0>(y); });
  V map = upto(pos.cols());
  int count = 0;
  for (const auto& [d, kept, dropped] : pairs)
    if (map[kept] == kept && map[dropped] == dropped) map[dropped] = kept, ++count;
  for (unsigned u : u1)
    while (map[map[u]] != map[u]) map[u] = map[map[u]];
  return {count, map};
}

// The count and the map of a merge of one list or connectivity.
template <class L, class... T>
std::tuple<int, V> merged(const dense2D<double>& pos, L&& l, T... rest) {
  dense1D<unsigned> map;
  return {merge(pos, l, map, rest...), std_of(map)};
}

// Random points with exact copies and near copies of some of them, numbered
// in a scrambled order, in a view with ld > rows.
dense2D<double> cloud(unsigned rows, unsigned base, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(0.0, 1.0), nudge(-2e-3, 2e-3);
  std::vector<Vd> pts(base, Vd(rows));
  for (Vd& p : pts)
    for (double& x : p) x = u(g);
  for (unsigned j = base; j < base + base / 2 + base / 3; ++j) {
    Vd p = pts[g() % base];
    for (double& x : p) x += j >= base + base / 2 ? nudge(g) : 0.0;
    pts.push_back(p);
  }
  std::shuffle(pts.begin(), pts.end(), g);
  Vd all;
  for (const Vd& p : pts) all.insert(all.end(), p.begin(), p.end());
  return padded_view(points(rows, all), -9.0);
}

// One list with repeats and padding merged with itself takes a shortcut
// through coincident groups; it must answer as the worker on two equal but
// distinct lists, which does not, and as the transcription. Then two
// different lists, whose first nodes go onto nodes of the second.
template <unsigned D>
void check_lists(const dense2D<double>& pos, double tol, unsigned seed) {
  V all = upto(pos.cols());
  std::shuffle(all.begin(), all.end(), std::mt19937(seed));
  V l = all;
  l.insert(l.end(), {NO_ID, all[3]});
  dense1D<unsigned> fast, slow;
  const auto expect = reference_merge<D>(pos, l, l, tol);
  EXPECT_GT(std::get<0>(expect), 0);
  EXPECT_EQ((std::tuple{merge(pos, vec(l), fast, tol), std_of(fast)}), expect);
  EXPECT_EQ((std::tuple{merge(pos, vec(l), vec(l), slow, tol), std_of(slow)}), expect);
  const V l1(all.begin(), all.begin() + all.size() * 2 / 3),
      l2(all.begin() + all.size() / 3, all.end());
  EXPECT_EQ((std::tuple{merge(pos, vec(l1), vec(l2), slow, tol), std_of(slow)}),
            (reference_merge<D>(pos, l1, l2, tol)));
}

TEST(Merge, ListWorkerAndItsShortcutMatchTheTranscription) {
  check_lists<2>(cloud(2, 200, 1), 1e-3, 1);
  check_lists<3>(cloud(3, 200, 3), 1e-3, 3);
  check_lists<3>(cloud(3, 200, 5), 0.0, 5);
  check_lists<3>(cloud(3, 300, 11), 0.05, 7);  // many pairs between places
  check_lists<2>(cloud(2, 100, 13), 10.0, 7);  // every place within reach
  dense2D<double> g = grid_points(3, 5, 4, 3);
  check_lists<3>(g, 1.0, 7);  // equidistant neighbours
  dense2D<double> odd = coincident_points(3, 60, 5, 14);
  odd(1, 3) = -0.0 * odd(1, 3);  // -0 and 0 coincide
  odd(0, 10) = std::nan("");
  odd(2, 11) = 1e-300;  // distinct from 0, yet at distance 0 from it
  check_lists<3>(odd, 0.3, 7);
  check_lists<3>(odd, 0.0, 7);
  odd(0, 10) = 1.0 / 0.0;
  check_lists<3>(odd, 1e-9, 7);
}

// A soup of three fresh nodes per triangle, in element order: the global
// mode is the list worker on its nodes, and leaves one node per place.
TEST(Merge, ConnectivityGlobalIsTheListWorkerOnItsNodes) {
  qz4::support::mesh m = qz4::support::tria_grid(6, 5);
  qz4::support::shuffle(m, 3);
  const unsigned ne = m.conn.cols();
  dense2D<double> pos(2, 3 * ne, 0.0);
  dense2D<unsigned> soup = mat(3, upto(3 * ne));
  for (unsigned c = 0; c < 3 * ne; ++c)
    for (unsigned k = 0; k < 2; ++k) pos(k, c) = m.pos(k, m.conn(c % 3, c / 3));
  const V expect = std::get<1>(reference_merge<2>(pos, upto(3 * ne), upto(3 * ne), 1e-9));
  dense1D<unsigned> map;
  EXPECT_EQ((std::tuple{merge(pos, soup, map, 1e-9, 0), std_of(map), flat(soup)}),
            std::tuple(int(3 * ne - m.pos.cols()), expect, expect));
}

// The soup a file reader makes of a shuffled structured surface: three fresh
// corners per triangle, numbered in order, as a reader does, or in a
// scrambled order with a seed, in a view with ld > rows. One corner in ten moves by `near` on every
// axis, one in twenty by `far`.
std::pair<dense2D<double>, dense2D<unsigned>> soup_of(const qz4::support::mesh& m, double near,
                                                      double far, unsigned seed) {
  const unsigned ne = m.conn.cols(), rows = m.pos.rows();
  V number = upto(3 * ne);
  std::mt19937 g(seed);
  if (seed) std::shuffle(number.begin(), number.end(), g);
  dense2D<double> pos(rows, 3 * ne, 0.0);
  dense2D<unsigned> tri(3, ne, 0u);
  for (unsigned c = 0; c < 3 * ne; ++c) {
    const unsigned n = number[c], r = g() % 20;
    tri(c % 3, c / 3) = n;
    for (unsigned k = 0; k < rows; ++k)
      pos(k, n) = m.pos(k, m.conn(c % 3, c / 3)) + (r < 2 ? near : r == 2 ? far : 0.0);
  }
  return {padded_view(pos, -9.0), tri};
}

// The weld with the shortcut and with the tree worker alone: the same count,
// map and connectivity, and the same clean-up after it as STL_input makes,
// on exact, near and far corners. Where equal distances from one node leave
// the order to the tree, the shortcut declines.
TEST(Merge, WeldShortcutAnswersAsTheTreeWorker) {
  const qz4::support::mesh plane = qz4::support::tria_grid(14, 11);
  qz4::support::mesh box = qz4::support::box_surface(7, 5, 6);
  qz4::support::shuffle(box, 4);
  struct row {
    const qz4::support::mesh* m;
    double near, far, tol;
    bool shortcut;
  };
  const row rows[] = {{&plane, 1e-4, 1e-2, 0.0, true},   {&plane, 1e-4, 1e-2, 1e-3, true},
                      {&plane, 1e-4, 1e-2, 1e-5, true},  {&box, 2e-5, 3e-3, 1e-4, true},
                      {&box, 2e-5, 3e-3, 6e-3, true},    {&box, 0.0, 0.0, 0.0, true},
                      {&plane, 1e-4, 1e-2, 0.25, false}, {&box, 2e-5, 3e-3, 0.5, false}};
  for (unsigned seed : {0u, 7u})
    for (const row& r : rows) {
      const auto [pos, tri] = soup_of(*r.m, r.near, r.far, seed);
      dense1D<unsigned> map, u;
      unique_indices(u, tri);
      const V nodes = std_of(u);
      EXPECT_EQ(tessellix::detail::merge_one_list(pos, nodes, map, r.tol) >= 0, r.shortcut)
          << r.tol;
      std::vector<std::tuple<int, V, V, int, int, V, Vd>> out;
      for (bool shortcut : {true, false}) {
        dense2D<double> p;
        dense2D<unsigned> t;
        p.copy(pos);
        t.copy(tri);
        const int merged =
            tessellix::detail::merge_connectivities(pos, &t, &t + 1, map, r.tol, 0, shortcut);
        const V m = std_of(map), welded = flat(t);
        const int gone = remove_degenerated(t, map, true), unused = simplify(p, t, map, 0);
        out.emplace_back(merged, m, welded, gone, unused, flat(t), flat(p));
      }
      EXPECT_EQ(out[0], out[1]) << r.tol;
      EXPECT_GT(std::get<0>(out[0]), 0);
    }
}

// Hand cases on nodes of the x axis. A chain spans more than the tolerance;
// zero merges only equal places (0 and 1e-300 are apart) and a tolerance
// equal to the distance merges; NaN merges nothing.
TEST(Merge, TolerancesChainsAndLocalModes) {
  dense1D<unsigned> map;
  EXPECT_EQ(merged(points(2, {0, 0, 0.5, 0, 0.9, 0}), vec({0, 1, 2}), 0.6),
            std::tuple(2, V{0, 0, 0}));
  const dense2D<double> p4 = points(3, {0, 0, 0, .5, 0, 0, 0, 0, 0, 0, 1e-300, 0});
  EXPECT_EQ(merged(p4, vec({0, 1, 2, 3}), 0.0), std::tuple(1, V{0, 1, 0, 3}));
  EXPECT_EQ(merged(p4, vec({0, 1, 2, 3}), 0.5), std::tuple(3, V{0, 0, 0, 0}));
  EXPECT_EQ(merged(p4, vec({0, 1, 2, 3}), std::nan("")), std::tuple(0, V{0, 1, 2, 3}));
  dense2D<unsigned> c = mat(3, {0, 1, 2});  // the short forms' tolerance: 1e-6
  EXPECT_EQ((std::tuple{merge(points(2, {0, 0, 5e-7, 0, 3e-6, 0}), c), flat(c)}),
            std::tuple(1, V{0, 0, 2}));

  // Two segments on each other's nodes: local modes merge only within an
  // element, the global one across.
  const dense2D<double> seg = points(2, {0, 0, 1, 0, 0, 0, 1, 0});
  dense2D<unsigned> s1 = mat(2, {0, 1, 2, 3}), s2 = mat(2, {0, 1, 2, 3});
  EXPECT_EQ(merge(seg, s1, 1e-3, 1) + merge(seg, s1, 1e-3, 2), 0);
  EXPECT_EQ((std::tuple{merge(seg, s2, 1e-3, 0), flat(s2)}), std::tuple(2, V{0, 1, 0, 1}));
  // A tie: the local mode keeps the smaller index, the global the first met.
  const dense2D<double> far = points(3, {10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  dense2D<unsigned> l = mat(3, {5, 2, 0}), g = mat(3, {5, 2, 0});
  EXPECT_EQ((std::tuple{merge(far, l, map, 0.1, 1), map[5], l(0, 0)}), std::tuple(1, 2u, 2u));
  EXPECT_EQ((std::tuple{merge(far, g, map, 0.1, 0), map[2], g(1, 0)}), std::tuple(1, 5u, 5u));
  // Repeated local passes follow the renumbered elements.
  const dense2D<double> near = points(2, {0, 0, 0.1, 0, 0.28, 0});
  dense2D<unsigned> once = mat(2, {0, 1, 1, 2});
  EXPECT_EQ((std::tuple{merge(near, once, map, 0.3, 1), std_of(map), flat(once)}),
            std::tuple(1, V{0, 0, 2}, V{0, 0, 0, 2}));
  EXPECT_EQ(merged(near, mat(2, {0, 1, 1, 2}), 0.3, 2u), std::tuple(2, V{0, 0, 0}));

  // Two connectivities with padding; node 4 sits on node 1.
  const dense2D<double> line = points(3, {0, 0, 0, 1, 0, 0, 2, 0, 0, 3, 0, 0, 1, 0, 0});
  dense2D<unsigned> a = mat(4, {0, 1, 2, NO_ID}), b = mat(4, {3, 4, 2, NO_ID}), alias(a);
  EXPECT_EQ((std::tuple{merge(line, a, b), flat(b), alias(1, 0)}),
            std::tuple(1, V{3, 1, 2, NO_ID}, 1u));
  b(1, 0) = 4;
  EXPECT_EQ(merge(line, a, b, map, 0.0, 2), 0);  // not in one element
  dense2D<unsigned> range[2] = {a, b};
  EXPECT_EQ((std::tuple{merge(line, range, range + 2, 0.0, 0), b(1, 0)}), std::tuple(1, 1u));
}

// Each status in its order of checks, with what the map holds after it.
TEST(Merge, StatusesInOrder) {
  dense2D<double> none(4, 0, 0.0), four(4, 3, 0.0), pos(2, 3, 0.0);
  dense1D<unsigned> ok(2, 0u), bad(1, 3u), empty, map(5, 1u);
  dense2D<unsigned> c(2, 1, 0u), pad(2, 1, NO_ID), out = mat(2, {0, 7});
  auto size = [&] { return int(map.size()); };
  // The list forms; padding only is a list, but no node.
  EXPECT_EQ(
      (std::vector<int>{merge(none, bad, bad, map, -1.0), size(), merge(four, bad, bad, map, -1.0),
                        merge(pos, bad, bad, map, -1.0), merge(pos, ok, bad, map, -1.0),
                        merge(pos, ok, ok, map, -1.0), merge(pos, empty, ok, map, 1.0), size(),
                        merge(pos, dense1D<unsigned>(1, NO_ID), map, 1.0), size()}),
      (std::vector<int>{0, 0, -1, -2, -3, -4, 0, 0, 0, 3}));
  // The connectivity forms.
  map.resize(4, 1u);
  EXPECT_EQ(
      (std::vector<int>{
          merge(none, &out + 1, &out, map, -1.0, 9), size(), merge(four, &out, &out, map, -1.0, 9),
          merge(four, &out + 1, &out, map, -1.0, 9), merge(pos, &out + 1, &out, map, -1.0, 9),
          merge(pos, out, map, -1.0, 9), merge(pos, out, map, 1.0, 3), merge(pos, pad, map, 1.0, 0),
          size(), merge(pos, out, map, 1.0, 0), merge(pos, out, c, map, 1.0, 1), int(out(1, 0)),
          merge(pos, c, map, 1.0, 0), size()}),
      (std::vector<int>{0, 0, 0, -1, -3, -5, -6, 0, 0, -2, -2, 7, 0, 3}));
  // The positions forms.
  EXPECT_EQ((std::vector<int>{merge(none, map, -1.0), merge(four, map, -1.0), merge(pos, map, -1.0),
                              merge(pos, -1.0)}),
            (std::vector<int>{0, -1, -3, -3}));
}

TEST(Merge, PositionsFormMovesMergedNodesOnNewStorage) {
  dense2D<double> pos = random_points(3, 40, 21, 1);
  for (unsigned j = 20; j < 40; ++j)
    for (unsigned k = 0; k < 3; ++k) pos(k, j) = pos(k, j - 20) + (j % 2 ? 1e-9 : 0.0);
  const dense2D<double> old(pos);
  dense1D<unsigned> map;
  V expect = upto(40);
  for (unsigned j = 20; j < 40; ++j) expect[j] = j - 20;
  EXPECT_EQ((std::tuple{merge(pos, map, 1e-6), std_of(map), pos.cols()}),
            std::tuple(20, expect, 40u));
  EXPECT_EQ(flat(pos.sub_matrix(0, 20, 3, 20)), flat(pos.sub_matrix(0, 0, 3, 20)));
  // The old storage keeps the old positions.
  EXPECT_TRUE(old(0, 21) == old(0, 1) + 1e-9 && old(0, 21) != pos(0, 21));
  EXPECT_EQ(merge(pos, 1e-6), 20);
}

// The map is the one allocation merge reports; the rest degrades silently,
// and the result stays right.
TEST(Merge, ExhaustedMemory) {
  out_of_memory_on_fresh(
      [] {
        std::pair in{random_points(2, 30, 31), mat(3, upto(30))};
        for (unsigned k = 0; k < 2; ++k) in.first(k, 7) = in.first(k, 4);
        return in;
      },
      [](auto& in) {
        dense1D<unsigned> map;
        const int s = merge(in.first, in.second, map, 1e-9, 0);
        EXPECT_EQ((std::pair{in.second(1, 2), map.empty()}),
                  std::pair(s == -199 ? 7u : 4u, s == -199));
        return std::min(s, merge(in.first, map, 1e-9));
      },
      [](auto&) { return true; }, 1);
}

}  // namespace qz4test
