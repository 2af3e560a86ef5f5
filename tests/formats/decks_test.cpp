// NASTRAN and FEMAP decks: exact lines written, every card and field form
// read, round trips where they hold, run tables, statuses in order.
#include "files.h"

namespace {

struct deck {
  dense2D<double> pos;
  dense2D<unsigned> conn;
  dense1D<unsigned> starts, props;
  dense1D<int> kinds;
};

// One element of each kind given, in a run of its own, nodes 0, 1, 2, ...
// shifted by the run's index; property 10 + run.
deck one_of_each(const std::vector<int>& kinds) {
  const unsigned n = unsigned(kinds.size());
  deck d{dense2D<double>(3, 40), dense2D<unsigned>(20, n, NO_ID), vec({0}), {}, vec(kinds)};
  for (unsigned k = 0; k < 40; ++k) d.pos(0, k) = k, d.pos(1, k) = 0.5 * k, d.pos(2, k) = -0.25;
  for (unsigned e = 0; e < n; d.starts.push_back(++e)) {
    for (unsigned r = 0; r < element_nodes[kinds[e]]; ++r) d.conn(r, e) = e + r;
    d.props.push_back(10 + e);
  }
  return d;
}

// Either format, any form of its calls: FEMAP when `femap`, else NASTRAN.
auto writer(bool femap) {
  return [femap](const auto&... a) { return femap ? FEMAP_output(a...) : NASTRAN_output(a...); };
}
auto reader(bool femap) {
  return [femap](auto&&... a) { return femap ? FEMAP_input(a...) : NASTRAN_input(a...); };
}
int write(bool femap, const std::string& path, const deck& d) {
  return writer(femap)(path.c_str(), d.pos, d.conn, d.starts, d.kinds, d.props);
}
int read(bool femap, const std::string& path, deck& d) {
  return reader(femap)(path.c_str(), d.pos, d.conn, d.starts, d.kinds, d.props);
}

}  // namespace

TEST(Nastran, WritesOneFixedForm) {
  // The second run starts at the second matrix's own column count: empty.
  const std::string path = scratch("w.bdf");
  ASSERT_EQ(0, NASTRAN_output(path.c_str(), points(3, {0, 1, 1234567, -0.5, 0, 0}),
                              dense2D<unsigned>(3, 1, 1u), dense2D<unsigned>(4, 1, 0u), ET_TRIA3,
                              ET_TETRA4));
  const std::string bar = "$----------------------------------------\n",
                    blank = "$                                        \n";
  auto banner = [&](const std::string& title) { return bar + blank + title + blank + bar; };
  EXPECT_EQ(
      slurp(path),
      "$ QZ4 Tessellix Nastran exporter\nBEGIN BULK\n" +
          banner("$                 ELEMENTS               \n") + "CTRIA3,0,1,1,1,1,\n" + bar +
          "$ Referenced Material Records -----------\n$ Material Record :    -------------"
          "-----\n$ Description of Material :   -----------\nMAT1     1      1100.           "
          ".35 1.1E-6\n" +
          banner("$                GRID POINTS             \n") +
          "GRID*   0               0.00000         1.00000         \n*       1.23457e+06\n"
          "GRID*   1               -0.500000       0.00000         \n*       0.00000\nENDDATA\n");
  // Cards without keyword, a run by the kind of its first column: a mixed
  // pyramid as five zeros, a run of pyramids not at all.
  deck e = one_of_each({ET_PENTA6, ET_PYRA5, ET_PYRA5, ET_HEXA8});
  e.kinds[2] = e.kinds[3] = ET_SOLID_MIXED;
  e.conn = e.conn.sub_matrix(0, 0, 8, 4);  // a view with ld > rows
  ASSERT_EQ(0, write(false, path, e));
  EXPECT_TRUE(has(slurp(path),
                  "\n,0,10,0,1,2,3,4,5,\nCPENTA,2,12,0,0,0,0,0,\nCHEXA,3,13,3,4,5,6,7,8,9,"
                  "10,\n$"));
}

TEST(Nastran, ReadsEveryCardForm) {
  const std::string path = spit(
      "r.bdf",
      "GRID,9,,1.,1.,1.\n"  // before the bulk section: not read
      "BEGIN BULK\n$ comment\nMAT1     1      1100.\n"
      "GRID    1       0       1.5     2.5     3.5\n"  // a CP of 0 takes a field
      "GRID,2,,1.,2.,3.\nGRID,3,5,1.,2.,3.\n"          // empty CP; CP 5
      "GRID    4       1.0000002.0000003.000000\n"     // glued in slices of 8
      "GRID*   5               4.0             5.0             5\n*       5       6.0\n"
      "GRIDX,6,7.,8.,9.\n"
      "CTRIA3,0,7,1,2,3,\nQUAD4   1       8       1       2       3       4\n"
      "CHEXA*,2,9,1,2,3,4,5,6\n*,7,8\nPENTA,3,4,1,2,3,4,5,6\n,4,1,1,2,3,4,5,6,\nCTETRA,5,6,1,2,3,"
      "4\nENDDATA\nCTRIA3,9,9,1,2,3,\n");
  deck d;
  ASSERT_EQ(0, read(false, path, d));
  EXPECT_EQ(flat(d.pos), (std::vector<double>{0, 0, 0, 1.5, 2.5, 0, 1, 2, 0, 1, 2,
                                              3, 1, 2, 3,   4,   5, 6, 7, 8, 9}));
  const unsigned X = NO_ID;
  EXPECT_EQ(flat(d.conn),
            (std::vector<unsigned>{1, 2, 3, X, X, X, X, X, 1, 2, 3, 4, X, X, X, X, 1, 2, 3, 4,
                                   5, 6, 7, 8, X, X, X, X, X, X, X, X, 1, 3, 2, 4, X, X, X, X}));
  EXPECT_EQ(std_of(d.kinds), (std::vector<int>{ET_TRIA3, ET_QUAD4, ET_HEXA8, ET_PYRA5, ET_TETRA4}));
  EXPECT_EQ(std_of(d.starts), (std::vector<unsigned>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(std_of(d.props), (std::vector<unsigned>{7, 8, 9, 4, 6}));
  // The two-connectivity form takes the first two runs; the single form
  // reports no kind.
  dense2D<unsigned> a, b;
  element_type ta = ET_NONE, tb = ET_NONE, single = ET_HEXA8;
  ASSERT_EQ(0, NASTRAN_input(path.c_str(), d.pos, a, b, ta, tb));
  ASSERT_EQ(0, NASTRAN_input(path.c_str(), d.pos, d.conn, single));
  EXPECT_TRUE(ta == ET_TRIA3 && tb == ET_QUAD4 && single == ET_NONE);
  EXPECT_EQ(shaped(a), (std::vector<unsigned>{8, 1, 1, 2, 3, X, X, X, X, X}));
  EXPECT_EQ(shaped(b), (std::vector<unsigned>{4, 1, 1, 2, 3, 4}));

  // Refused: no bulk section, no end, a card short of its nodes, a GRID*
  // without its continuation; the nodes read before stay.
  const std::pair<const char*, unsigned> bad[] = {
      {"GRID,1,,1.,2.,3.\nCTRIA3,0,1,1,1,1\n", 0},
      {"BEGIN BULK\nGRID,1,,1.,2.,3.\n", 2},
      {"BEGIN BULK\nGRID,0,,1.,2.,3.\nCTRIA3,0,1,0,0\n", 1},
      {"BEGIN BULK\nGRID*,0,1.,2.\n", 0},
      // Cut at blanks, a card short of a node reads its CR as one: only the
      // LF deck is refused.
      {"BEGIN BULK\nGRID,0,,1.,2.,3.\nCTRIA3 0 1 0 0 \n", 1},
      {nullptr, 0}};  // no file
  for (const auto& [text, nodes] : bad) {
    const std::string file = text ? spit("x.bdf", text) : scratch("no/such/dir.bdf");
    EXPECT_EQ(results({-1, nodes}),
              results({NASTRAN_input(file.c_str(), d.pos, a, single), d.pos.cols()}))
        << file;
  }
  EXPECT_EQ(0, NASTRAN_input(spit("x.bdf", crlf(std::prev(std::end(bad), 2)->first)).c_str(), d.pos,
                             a, single));
  EXPECT_EQ(flat(a), (std::vector<unsigned>{0, 0, 0}));
}

TEST(Decks, RoundTripsRunTablesAndStatuses) {
  // What comes back through NASTRAN: triangles, quadrangles (6 and 8 nodes
  // too), hexahedra, edges; through FEMAP every kind with a topology code.
  const deck nas = one_of_each({ET_EDGE2, ET_TRIA3, ET_TRIA6, ET_QUAD4, ET_QUAD8, ET_HEXA8});
  const deck fem = one_of_each({ET_EDGE2, ET_EDGE3, ET_TRIA3, ET_TRIA6, ET_QUAD4, ET_QUAD8,
                                ET_TETRA4, ET_PENTA6, ET_HEXA8, ET_NODE, ET_TETRA10, ET_HEXA20});
  for (bool femap : {false, true}) {
    const deck& in = femap ? fem : nas;
    const std::string path = scratch(femap ? "rt.neu" : "rt.bdf"), nowhere = scratch("no/such/d");
    ASSERT_EQ(0, write(femap, path, in));
    deck out;
    ASSERT_EQ(0, read(femap, path, out));
    ASSERT_EQ(out.conn.cols(), in.conn.cols());
    EXPECT_EQ(flat(out.conn), flat(in.conn.sub_matrix(0, 0, out.conn.rows(), in.conn.cols())));
    EXPECT_EQ(std_of(out.kinds), std_of(in.kinds));
    EXPECT_EQ(std_of(out.starts), std_of(in.starts));
    EXPECT_EQ(std_of(out.props), std_of(in.props));
    EXPECT_EQ(flat(out.pos), flat(in.pos));
    auto outputs = [&] {
      return std::tuple{flat(out.pos), flat(out.conn), std_of(out.starts), std_of(out.kinds),
                        std_of(out.props)};
    };
    expect_ok_or_out_of_memory([&] { return read(femap, path, out); }, 0, outputs,
                               decltype(outputs()){});
    // Saved on Windows (CR LF), a deck reads differently: the CR is a field
    // of its own at the end of a line, so a GRID* card is whole on its first
    // line and z is lost; FEMAP's block markers are no longer "-1" alone.
    deck twin;
    EXPECT_EQ(femap ? -1 : 0, read(femap, spit("crlf.deck", crlf(slurp(path))), twin));
    dense2D<double> flat_z;
    flat_z.copy(in.pos);
    for (unsigned c = 0; c < flat_z.cols(); ++c) flat_z(2, c) = 0;
    EXPECT_TRUE(femap || (flat(twin.conn) == flat(out.conn) && flat(twin.pos) == flat(flat_z)));

    // One fault at a time, the deck otherwise sound; the last change is
    // made in place, in blocks the copy shares with `in`.
    auto status = [&](const std::string& file, void (*change)(deck&)) {
      deck d = in;
      change(d);
      return write(femap, file, d);
    };
    EXPECT_EQ(0, status(nowhere, [](deck& d) { d.conn = dense2D<unsigned>(); }));
    EXPECT_EQ(-1, status(nowhere, [](deck&) {}));
    EXPECT_EQ(-2, status(path, [](deck& d) { d.pos = dense2D<double>(2, 40, 0.0); }));
    EXPECT_EQ(slurp(path), "");  // opened first, left empty
    EXPECT_EQ(-5, status(path, [](deck& d) { d.starts = vec({0, 1}); }));
    EXPECT_EQ(-6, status(path, [](deck& d) { d.props = vec({1}); }));
    EXPECT_EQ(-3, status(path,
                         [](deck& d) {  // padding before a node
                           d.kinds[0] = ET_FACE_MIXED, d.conn(1, 0) = NO_ID, d.conn(2, 0) = 7;
                         }));
    EXPECT_EQ(-6, writer(femap)(path.c_str(), in.pos, dense2D<unsigned>(3, 2, 0u), ET_TRIA3));
    // Memory short for a moment while the single form builds its run table.
    for (unsigned k = 1; k <= 3; ++k) {
      failing_allocator once(k, true);
      EXPECT_EQ(-199, writer(femap)(path.c_str(), in.pos, in.conn, ET_TRIA3)) << k;
    }
  }
}

TEST(Femap, ReadsBlocksAmongOthersAndWritesExactRecords) {
  const std::string node = ",0,0,1,0,0,0,0,0,0,0,";
  const std::string text =
      "-1\n100\nsome header\n-1\n -1\n 404 \n0,3,0,32,2,1,0,0,0,0,0,0,0,\n1,2,3,0,0,0,0,0,0,0,\n"
      "0,0,0,0,0,0,0,0,0,0,\nx\nx\nx\nx\n1,4,0,32,11,1,0,0,0,0,0,0,0,\nx\nx\nx\nx\nx\nx\n-1\n-1\n"
      "403\n1" +
      node + "1.5,2.5,3.5,0,\n3" + node + "1,1,1,0,\n3" + node + "4,5,6,0,\n-1\n";
  deck d;
  ASSERT_EQ(0, read(true, spit("r.neu", text), d));
  // Nodes by number (the later line wins), a triangle, 0 for the unknown code.
  EXPECT_EQ(flat(d.pos), (std::vector<double>{0, 0, 0, 1.5, 2.5, 3.5, 0, 0, 0, 4, 5, 6}));
  EXPECT_EQ(flat(d.conn), (std::vector<unsigned>{1, 2, 3}));
  EXPECT_EQ(std_of(d.kinds), (std::vector<int>{ET_TRIA3, 0}));
  EXPECT_EQ(1u, d.props.size());
  // Nodes without elements; a node line short of its fields.
  for (const std::string& bad :
       {"403\n0" + node + "1,2,3,0,\n-1\n", std::string("403\n0,0,0\n-1\n")})
    EXPECT_EQ(-1, read(true, spit("x.neu", bad), d)) << bad;

  const deck tet = one_of_each({ET_TETRA4});
  const std::string path = scratch("w.neu");
  ASSERT_EQ(0, FEMAP_output(path.c_str(), tet.pos.sub_matrix(0, 0, 3, 1),
                            tet.conn.sub_matrix(0, 0, 4, 1), ET_TETRA4));
  const std::string stars = "*********************************\n";
  EXPECT_EQ(
      slurp(path),
      stars + "*********** NODES ***************\n" + stars + "-1\n403\n0" + node +
          "0,0,-0.25,0,\n-1\n" + stars + "********* ELEMENTS **************\n" + stars +
          "-1\n404\n0,1,0,32,6,1,0,0,0,0,0,0,0,\n1,0,2,0,3,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\n"
          "0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n-1\n");
}
