// Helpers and brute-force oracles shared by the topology tests.
#ifndef QZ4_TEST_TOPOLOGY_UTIL_H
#define QZ4_TEST_TOPOLOGY_UTIL_H

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "alloc_seam.h"
#include "arrays.h"
#include "core/element_tables.h"
#include "qz4/tessellix/topology.h"
#include "structured_mesh.h"

namespace qz4test {

using namespace qz4;
using namespace qz4::tessellix;
typedef std::vector<unsigned> ids;
typedef std::vector<ids> id_table;
namespace td = qz4::tessellix::detail;
constexpr unsigned X = NO_ID;

inline ids column(const dense2D<unsigned>& m, unsigned j) {
  return {&m(0, j), &m(0, j) + m.rows()};
}

/// All columns, for whole-matrix comparisons that ignore ld.
inline id_table all_columns(const dense2D<unsigned>& m) {
  id_table out;
  for (unsigned j = 0; j < m.cols(); ++j) out.push_back(column(m, j));
  return out;
}

/// Shape of column `col` of a connectivity of `rows` rows and kind `type`.
inline element_type shape_of(element_type type, const ids& col) {
  if (type == ET_FACE_MIXED) return col.size() == 3 ? ET_TRIA3 : td::face_shape(col.data());
  return type == ET_SOLID_MIXED ? td::solid_shape(col.data()) : type;
}

/// Each local boundary of each element as its node list, in element then local order.
inline id_table boundary_nodes(const dense2D<unsigned>& c, element_type type) {
  id_table out;
  for (const ids& col : all_columns(c)) {
    const td::boundary_list& list = *td::boundaries_of(shape_of(type, col));
    for (unsigned b = 0; b < list.count; ++b) {
      out.emplace_back();
      for (unsigned p = 0; p < list.width && list.v[b][p] != td::NONE; ++p)
        out.back().push_back(col[list.v[b][p]]);
    }
  }
  return out;
}

/// Neighbours by brute force: boundaries match by sorted node sets (which is
/// the rule on valid elements); the first two sides of a boundary are linked
/// when it has two, or more and `pair` is set.
inline dense2D<unsigned> brute_neighbors(const dense2D<unsigned>& c, element_type type, bool pair) {
  std::map<ids, std::vector<std::pair<unsigned, unsigned>>> groups;
  unsigned rows = 0;
  for (unsigned e = 0; e < c.cols(); ++e) {
    const id_table own = boundary_nodes(c.sub_matrix(0, e, c.rows(), 1), type);
    rows = std::max(rows, unsigned(own.size()));
    for (unsigned b = 0; b < own.size(); ++b) {
      ids key = own[b];
      std::sort(key.begin(), key.end());
      groups[key].push_back({e, b});
    }
  }
  dense2D<unsigned> nb(rows, c.cols(), X);
  for (const auto& g : groups) {
    const auto& s = g.second;
    if (s.size() < 2 || (s.size() > 2 && !pair)) continue;
    nb(s[0].second, s[0].first) = s[1].first;
    nb(s[1].second, s[1].first) = s[0].first;
  }
  return nb;
}

/// The edges of a connectivity in order of first meeting, each with its first direction.
inline dense2D<unsigned> first_met_edges(const dense2D<unsigned>& c, element_type type) {
  std::set<std::pair<unsigned, unsigned>> met;
  ids flat;
  for (const ids& col : all_columns(c)) {
    const td::edge_list* list = td::edges_of(shape_of(type, col));
    for (unsigned k = 0; list && k < list->count; ++k) {
      const unsigned a = col[list->v[k][0]], b = col[list->v[k][1]];
      if (met.insert(std::minmax(a, b)).second) flat.insert(flat.end(), {a, b});
    }
  }
  dense2D<unsigned> out(2, unsigned(flat.size() / 2));
  std::copy(flat.begin(), flat.end(), out.data());
  return out;
}

/// Shuffled meshes of every kind the boundary services serve; `large` adds
/// two with enough boundaries to split the hash tables.
inline std::vector<support::mesh> every_kind(unsigned seed, bool large) {
  // clang-format off
  std::vector<support::mesh> s = {
      support::edge_grid(7), support::edge_loop(9), support::tria_grid(4, 3), support::quad_grid(4, 3),
      support::mixed_face_grid(5, 4), support::tetra_grid(3, 2, 2), support::pyra_grid(2, 2, 2),
      support::penta_grid(3, 2, 2), support::hexa_grid(3, 2, 2), support::mixed_solid_grid(3, 3, 3),
      support::box_surface(3, 2, 4), support::box_surface(2, 3, 2, ET_QUAD4),
      support::box_surface(4, 3, 3, ET_FACE_MIXED)};
  // clang-format on
  if (large) s.insert(s.end(), {support::tetra_grid(8, 8, 8), support::mixed_solid_grid(6, 6, 5)});
  for (auto& m : s) support::shuffle(m, seed);
  return s;
}

}  // namespace qz4test

#endif
