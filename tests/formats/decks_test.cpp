// NASTRAN and FEMAP decks: exact lines written, every card and field form
// read, round trips where they hold, run tables, statuses in order.
#include <gtest/gtest.h>

#include <string>

#include "alloc_seam.h"
#include "arrays.h"
#include "files.h"
#include "qz4/tessellix/formats.h"

using namespace qz4;
using namespace qz4::tessellix;
using namespace qz4test;

namespace {

struct deck {
  dense2D<double> pos;
  dense2D<unsigned> conn;
  dense1D<unsigned> starts, props;
  dense1D<int> kinds;
};

// One element of each kind given, in a run of its own, nodes 0, 1, 2, ...
// shifted by the run's index; property 10 + run.
deck one_of_each(std::initializer_list<element_type> kinds) {
  deck d;
  d.pos.resize(3, 40, 0.0);
  for (unsigned n = 0; n < 40; ++n) d.pos(0, n) = n, d.pos(1, n) = 0.5 * n, d.pos(2, n) = -0.25;
  d.conn.resize(20, unsigned(kinds.size()), NO_ID);
  d.starts.push_back(0);
  unsigned e = 0;
  for (element_type k : kinds) {
    for (unsigned r = 0; r < element_nodes[k]; ++r) d.conn(r, e) = e + r;
    d.kinds.push_back(int(k));
    d.props.push_back(10 + e);
    d.starts.push_back(++e);
  }
  return d;
}

}  // namespace

TEST(Nastran, WritesOneFixedForm) {
  deck d;
  d.pos.resize(3, 2, 0.0);
  d.pos(1, 0) = 1, d.pos(2, 0) = 1234567, d.pos(0, 1) = -0.5;
  // The second run starts at the second matrix's own column count: empty.
  const dense2D<unsigned> tri(3, 1, 1u), tet(4, 1, 0u);
  const std::string path = scratch("w.bdf");
  ASSERT_EQ(NASTRAN_output(path.c_str(), d.pos, tri, tet, ET_TRIA3, ET_TETRA4), 0);
  const std::string bar = "$----------------------------------------\n",
                    blank = "$                                        \n";
  EXPECT_EQ(
      slurp(path),
      "$ QZ4 Tessellix Nastran exporter\nBEGIN BULK\n" + bar + blank +
          "$                 ELEMENTS               \n" + blank + bar + "CTRIA3,0,1,1,1,1,\n" +
          bar +
          "$ Referenced Material Records -----------\n$ Material Record :    ------------------\n"
          "$ Description of Material :   -----------\nMAT1     1      1100.           .35 "
          "1.1E-6\n" +
          bar + blank + "$                GRID POINTS             \n" + blank + bar +
          "GRID*   0               0.00000         1.00000         \n*       1.23457e+06\n"
          "GRID*   1               -0.500000       0.00000         \n*       0.00000\nENDDATA\n");
  // Cards without keyword, pyramids of zeros, a mixed run by its first column.
  deck e = one_of_each({ET_PENTA6, ET_PYRA5, ET_HEXA8});
  e.kinds[2] = ET_SOLID_MIXED;
  e.conn = e.conn.sub_matrix(0, 0, 8, 3);  // a view with ld > rows
  ASSERT_EQ(NASTRAN_output(path.c_str(), e.pos, e.conn, e.starts, e.kinds, e.props), 0);
  const std::string text = slurp(path);
  EXPECT_NE(
      text.find("\n,0,10,0,1,2,3,4,5,\nCPENTA,1,11,0,0,0,0,0,\nCHEXA,2,12,2,3,4,5,6,7,8,9,\n"),
      std::string::npos);
}

TEST(Nastran, ReadsEveryCardForm) {
  const std::string text =
      "GRID,9,,1.,1.,1.\n"  // before the bulk section: not read
      "BEGIN BULK\n$ comment\nMAT1     1      1100.\n"
      "GRID    1       0       1.5     2.5     3.5\n"  // a CP of 0 takes a field
      "GRID,2,,1.,2.,3.\nGRID,3,5,1.,2.,3.\n"          // empty CP; CP 5
      "GRID    4       1.0000002.0000003.000000\n"     // glued in slices of 8
      "GRID*   5               4.0             5.0             5\n*       5       6.0\n"
      "GRIDX,6,7.,8.,9.\n"
      "CTRIA3,0,7,1,2,3,\nQUAD4   1       8       1       2       3       4\n"
      "CHEXA*,2,9,1,2,3,4,5,6\n*,7,8\nPENTA,3,4,1,2,3,4,5,6\n,4,1,1,2,3,4,5,6,\nCTETRA,5,6,1,2,3,"
      "4\n"
      "ENDDATA\nCTRIA3,9,9,1,2,3,\n";
  deck d;
  ASSERT_EQ(NASTRAN_input(spit("r.bdf", text).c_str(), d.pos, d.conn, d.starts, d.kinds, d.props),
            0);
  EXPECT_EQ(flat(d.pos), (std::vector<double>{0, 0, 0, 1.5, 2.5, 0, 1, 2, 0, 1, 2,
                                              3, 1, 2, 3,   4,   5, 6, 7, 8, 9}));
  const unsigned X = NO_ID;
  EXPECT_EQ(flat(d.conn),
            (std::vector<unsigned>{1, 2, 3, X, X, X, X, X, 1, 2, 3, 4, X, X, X, X, 1, 2, 3, 4,
                                   5, 6, 7, 8, X, X, X, X, X, X, X, X, 1, 3, 2, 4, X, X, X, X}));
  EXPECT_EQ(std_of(d.kinds), (std::vector<int>{ET_TRIA3, ET_QUAD4, ET_HEXA8, ET_PYRA5, ET_TETRA4}));
  EXPECT_EQ(std_of(d.starts), (std::vector<unsigned>{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(std_of(d.props), (std::vector<unsigned>{7, 8, 9, 4, 6}));
  dense2D<unsigned> a, b;
  element_type ta = ET_NONE, tb = ET_NONE, single = ET_HEXA8;
  ASSERT_EQ(NASTRAN_input(spit("r.bdf", text).c_str(), d.pos, a, b, ta, tb), 0);
  EXPECT_EQ(ta, ET_TRIA3);
  EXPECT_EQ(tb, ET_QUAD4);
  EXPECT_EQ(a.rows() * 10 + a.cols(), 81u);
  EXPECT_EQ(b.rows() * 10 + b.cols(), 41u);
  ASSERT_EQ(NASTRAN_input(spit("r.bdf", text).c_str(), d.pos, a, single), 0);
  EXPECT_EQ(single, ET_NONE);

  // Refused: no bulk section, no end, a card short of its nodes, a GRID*
  // without its continuation; the nodes read before stay.
  const std::pair<const char*, unsigned> bad[] = {
      {"GRID,1,,1.,2.,3.\nCTRIA3,0,1,1,1,1\n", 0},
      {"BEGIN BULK\nGRID,1,,1.,2.,3.\n", 2},
      {"BEGIN BULK\nGRID,0,,1.,2.,3.\nCTRIA3,0,1,0,0\n", 1},
      {"BEGIN BULK\nGRID*,0,1.,2.\n", 0}};
  for (const auto& c : bad) {
    EXPECT_EQ(NASTRAN_input(spit("x.bdf", c.first).c_str(), d.pos, a, single), -1) << c.first;
    EXPECT_EQ(d.pos.cols(), c.second) << c.first;
  }
  EXPECT_EQ(NASTRAN_input(scratch("no/such/dir.bdf").c_str(), d.pos, a, single), -1);
}

TEST(Decks, RoundTripsRunTablesAndStatuses) {
  // What comes back through NASTRAN: triangles, quadrangles (6 and 8 nodes
  // too), hexahedra, edges; through FEMAP every kind with a topology code.
  const deck nas = one_of_each({ET_EDGE2, ET_TRIA3, ET_TRIA6, ET_QUAD4, ET_QUAD8, ET_HEXA8});
  const deck fem = one_of_each({ET_EDGE2, ET_EDGE3, ET_TRIA3, ET_TRIA6, ET_QUAD4, ET_QUAD8,
                                ET_TETRA4, ET_PENTA6, ET_HEXA8, ET_NODE, ET_TETRA10, ET_HEXA20});
  for (int femap = 0; femap < 2; ++femap) {
    const deck& in = femap ? fem : nas;
    const std::string path = scratch(femap ? "rt.neu" : "rt.bdf");
    typedef int (*run_writer)(const char*, const dense2D<double>&, const dense2D<unsigned>&,
                              const dense1D<unsigned>&, const dense1D<int>&,
                              const dense1D<unsigned>&);
    const run_writer write = femap ? run_writer(FEMAP_output) : run_writer(NASTRAN_output);
    auto read = [&](deck& d) {
      return femap ? FEMAP_input(path.c_str(), d.pos, d.conn, d.starts, d.kinds, d.props)
                   : NASTRAN_input(path.c_str(), d.pos, d.conn, d.starts, d.kinds, d.props);
    };
    ASSERT_EQ(write(path.c_str(), in.pos, in.conn, in.starts, in.kinds, in.props), 0);
    deck out;
    ASSERT_EQ(read(out), 0);
    ASSERT_EQ(out.conn.cols(), in.conn.cols());
    EXPECT_EQ(flat(out.conn), flat(in.conn.sub_matrix(0, 0, out.conn.rows(), in.conn.cols())));
    EXPECT_EQ(std_of(out.kinds), std_of(in.kinds));
    EXPECT_EQ(std_of(out.starts), std_of(in.starts));
    EXPECT_EQ(std_of(out.props), std_of(in.props));
    EXPECT_EQ(flat(out.pos), flat(in.pos));

    expect_ok_or_out_of_memory([&](unsigned) {
      deck d;
      return read(d);
    });

    const std::string nowhere = scratch("no/such/dir");
    auto write_run = [&](const char* file, const deck& d) {
      return write(file, d.pos, d.conn, d.starts, d.kinds, d.props);
    };
    deck bad = in;
    EXPECT_EQ(write(nowhere.c_str(), in.pos, dense2D<unsigned>(), in.starts, in.kinds, in.props),
              0);
    EXPECT_EQ(write_run(nowhere.c_str(), in), -1);
    bad.pos = dense2D<double>(2, 40, 0.0);
    EXPECT_EQ(write_run(path.c_str(), bad), -2);
    EXPECT_EQ(slurp(path), "");  // opened first, left empty
    bad.pos = in.pos;
    bad.starts = vec({0, 1});
    EXPECT_EQ(write_run(path.c_str(), bad), -5);
    bad.starts = in.starts;
    bad.props = vec({1});
    EXPECT_EQ(write_run(path.c_str(), bad), -6);
    bad.props = in.props;
    bad.kinds[0] = ET_FACE_MIXED;  // padding before a node
    bad.conn(1, 0) = NO_ID;
    bad.conn(2, 0) = 7;
    EXPECT_EQ(write_run(path.c_str(), bad), -3);
    auto single =
        femap ? static_cast<int (*)(const char*, const dense2D<double>&, const dense2D<unsigned>&,
                                    element_type)>(FEMAP_output)
              : static_cast<int (*)(const char*, const dense2D<double>&, const dense2D<unsigned>&,
                                    element_type)>(NASTRAN_output);
    EXPECT_EQ(single(path.c_str(), in.pos, dense2D<unsigned>(3, 2, 0u), ET_TRIA3), -6);
  }
}

TEST(Femap, ReadsBlocksAmongOthersAndWritesExactRecords) {
  const std::string node = ",0,0,1,0,0,0,0,0,0,0,";
  const std::string text =
      "-1\n100\nsome header\n-1\n -1\n 404 \n"
      "0,3,0,32,2,1,0,0,0,0,0,0,0,\n1,2,3,0,0,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\nx\nx\nx\nx\n"
      "1,4,0,32,11,1,0,0,0,0,0,0,0,\nx\nx\nx\nx\nx\nx\n"
      "-1\n-1\n403\n1" +
      node + "1.5,2.5,3.5,0,\n3" + node + "1,1,1,0,\n3" + node + "4,5,6,0,\n-1\n";
  deck d;
  ASSERT_EQ(FEMAP_input(spit("r.neu", text).c_str(), d.pos, d.conn, d.starts, d.kinds, d.props), 0);
  // Nodes by number (the later line wins), a triangle, 0 for the unknown code.
  EXPECT_EQ(flat(d.pos), (std::vector<double>{0, 0, 0, 1.5, 2.5, 3.5, 0, 0, 0, 4, 5, 6}));
  EXPECT_EQ(flat(d.conn), (std::vector<unsigned>{1, 2, 3}));
  EXPECT_EQ(std_of(d.kinds), (std::vector<int>{ET_TRIA3, 0}));
  EXPECT_EQ(d.props.size(), 1u);
  EXPECT_EQ(FEMAP_input(spit("x.neu", "403\n0" + node + "1,2,3,0,\n-1\n").c_str(), d.pos, d.conn,
                        d.starts, d.kinds, d.props),
            -1);
  EXPECT_EQ(FEMAP_input(spit("x.neu", "403\n0,0,0\n-1\n").c_str(), d.pos, d.conn, d.starts, d.kinds,
                        d.props),
            -1);

  const deck tet = one_of_each({ET_TETRA4});
  const std::string path = scratch("w.neu");
  ASSERT_EQ(FEMAP_output(path.c_str(), tet.pos.sub_matrix(0, 0, 3, 1),
                         tet.conn.sub_matrix(0, 0, 4, 1), ET_TETRA4),
            0);
  const std::string stars = "*********************************\n";
  EXPECT_EQ(
      slurp(path),
      stars + "*********** NODES ***************\n" + stars + "-1\n403\n0" + node +
          "0,0,-0.25,0,\n-1\n" + stars + "********* ELEMENTS **************\n" + stars +
          "-1\n404\n0,1,0,32,6,1,0,0,0,0,0,0,0,\n1,0,2,0,3,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\n"
          "0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n-1\n");
}
