// MEDIT mesh and solution files, and the split of a list of connectivities
// into pure kinds that the viewing writers share. MEDIT has no pyramids or
// wedges: they are written as collapsed hexahedra; higher-order kinds keep
// their corners.
#include <cstddef>
#include <cstdio>

#include "core/sort_elfes.h"
#include "formats/ranges.h"
#include "formats/text_io.h"
#include "qz4/tessellix/formats.h"

namespace qz4 {
namespace tessellix {

namespace {

struct medit_section {
  const char* keyword;  // null: the kind has no section
  unsigned count;
  unsigned order[8];
};

const medit_section sections[21] = {
    {nullptr, 0, {}},                              // ET_NONE
    {nullptr, 0, {}},                              // ET_NODE
    {nullptr, 0, {}},                              // ET_EDGE_MIXED
    {"Edges\n", 2, {0, 1}},                        // ET_EDGE2
    {"Edges\n", 2, {0, 1}},                        // ET_EDGE3
    {nullptr, 0, {}},                              // ET_FACE_MIXED
    {"Triangles\n", 3, {0, 1, 2}},                 // ET_TRIA3
    {"Quadrilaterals\n", 4, {0, 1, 2, 3}},         // ET_QUAD4
    {"Triangles\n", 3, {0, 1, 2}},                 // ET_TRIA6
    {"Quadrilaterals\n", 4, {0, 1, 2, 3}},         // ET_QUAD8
    {"Quadrilaterals\n", 4, {0, 1, 2, 3}},         // ET_QUAD9
    {nullptr, 0, {}},                              // ET_SOLID_MIXED
    {"Tetrahedra\n", 4, {0, 1, 2, 3}},             // ET_TETRA4
    {"Tetrahedra\n", 4, {0, 1, 2, 3}},             // ET_TETRA10
    {"Hexahedra\n", 8, {0, 1, 2, 3, 4, 4, 4, 4}},  // ET_PYRA5
    {"Hexahedra\n", 8, {0, 1, 2, 3, 4, 4, 4, 4}},  // ET_PYRA14
    {"Hexahedra\n", 8, {0, 1, 2, 2, 3, 4, 5, 5}},  // ET_PENTA6
    {"Hexahedra\n", 8, {0, 1, 2, 2, 3, 4, 5, 5}},  // ET_PENTA18
    {"Hexahedra\n", 8, {0, 1, 2, 3, 4, 5, 6, 7}},  // ET_HEXA8
    {"Hexahedra\n", 8, {0, 1, 2, 3, 4, 5, 6, 7}},  // ET_HEXA20
    {"Hexahedra\n", 8, {0, 1, 2, 3, 4, 5, 6, 7}},  // ET_HEXA27
};

// The pure kind of a run of a mixed connectivity, by its node count.
element_type run_kind(element_type mixed, unsigned nodes) {
  if (mixed == ET_FACE_MIXED) return nodes == 4 ? ET_QUAD4 : nodes == 3 ? ET_TRIA3 : ET_NONE;
  switch (nodes) {
    case 8:
      return ET_HEXA8;
    case 6:
      return ET_PENTA6;
    case 5:
      return ET_PYRA5;
    case 4:
      return ET_TETRA4;
    default:
      return ET_NONE;
  }
}

void values_line(io::text_writer& out, const double* v, unsigned n) {
  for (unsigned i = 0; i < n; ++i) {
    out.put_double(v[i], 'E', 6);
    out.put(' ');
  }
  out.put('\n');
}

void solution_header(io::text_writer& out, long long a, long long b, long long c) {
  out.put_int(a);
  out.put(' ');
  out.put_int(b);
  out.put(' ');
  out.put_int(c);
  out.put(" 2\n");  // values at vertices
}

// One value vector per column, a line each.
int columns_file(const char* filename, long long dim, const dense2D<double>& M, bool tensor) {
  std::FILE* f = std::fopen(filename, "w");
  if (!f) return -1;
  if (tensor && M.rows() != 3 && M.rows() != 6) {
    std::fclose(f);
    return -2;
  }
  {
    io::text_writer out(f);
    solution_header(out, tensor ? (M.rows() == 3 ? 2 : 3) : dim, M.rows(), M.cols());
    for (unsigned j = 0; j < M.cols(); ++j)
      values_line(out, M.data() + std::size_t(j) * M.ld(), M.rows());
  }
  std::fclose(f);
  return 0;
}

}  // namespace

int split_connectivities(const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                         const dense1D<int>& flags, dense1D<dense2D<unsigned>>& connectivities,
                         dense1D<int>& kinds, dense1D<unsigned>& references) {
  connectivities.clear();
  kinds.clear();
  references.clear();
  if (first > last || std::size_t(last - first) != flags.size()) return -1;
  // A list that could not grow loses nothing silently: the call fails.
  auto append = [&](const dense2D<unsigned>& c, element_type kind, unsigned reference) {
    const unsigned n = connectivities.size();
    connectivities.push_back(c);
    kinds.push_back(int(kind));
    references.push_back(reference);
    return connectivities.size() == n + 1 && kinds.size() == n + 1 && references.size() == n + 1;
  };
  for (unsigned i = 0; first + i != last; ++i) {
    const dense2D<unsigned>& c = first[i];
    const element_type kind = element_type(flags[i]);
    bool ok = true;
    if (c.empty()) continue;
    if (kind != ET_FACE_MIXED && kind != ET_SOLID_MIXED) {
      ok = append(c, kind, i);
    } else {
      // A private copy, sorted into runs of one node count, longest first.
      dense2D<unsigned> sorted, none, part;
      dense1D<unsigned> group_nodes, group_ends, new_ids;
      ok = sorted.copy(c);
      if (ok) detail::sort_elfes(sorted, none, group_nodes, group_ends, new_ids);
      for (unsigned g = 0, begin = 0; ok && g < group_nodes.size() && g < group_ends.size(); ++g) {
        const element_type run = run_kind(kind, group_nodes[g]);
        const unsigned end = group_ends[g];
        if (run != ET_NONE && end > begin)
          ok = part.copy(sorted.sub_matrix(0, begin, group_nodes[g], end - begin)) &&
               append(part, run, i);
        begin = end;
      }
    }
    if (!ok) {
      connectivities.clear();
      kinds.clear();
      references.clear();
      return -199;
    }
  }
  return 0;
}

int medit_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>* first,
                 const dense2D<unsigned>* last, const dense1D<int>& flags) {
  if (pos.rows() == 0 || pos.rows() > 3) return -2;
  if (first > last) return -4;
  if (std::size_t(last - first) != flags.size()) return -5;
  for (const dense2D<unsigned>* c = first; c != last; ++c)
    if (!check_IDs(*c, element_type(flags[unsigned(c - first)]), pos.cols())) return -3;
  dense1D<dense2D<unsigned>> parts;
  dense1D<int> kinds;
  dense1D<unsigned> refs;
  if (split_connectivities(first, last, flags, parts, kinds, refs) != 0) return -199;
  std::FILE* f = std::fopen(filename, "w");
  if (!f) return -1;
  {
    io::text_writer out(f);
    out.put("MeshVersionFormatted 1\nDimension ");
    out.put_int(pos.rows());
    out.put("\n# Mesh format for MEDIT, generated by QZ4 Tessellix(TM).\n\nVertices\n");
    out.put_int(pos.cols());
    out.put('\n');
    for (unsigned n = 0; n < pos.cols(); ++n) {
      const double* c = pos.data() + std::size_t(n) * pos.ld();
      for (unsigned i = 0; i < pos.rows(); ++i) {
        out.put_double(c[i], 'E', 6);
        out.put(' ');
      }
      out.put("0 \n");
    }
    out.put('\n');
    // Sections follow the kinds' values, one per kind even where two kinds
    // share a keyword.
    for (int kind = 0; kind < 21; ++kind) {
      const medit_section& s = sections[kind];
      unsigned long long count = 0;
      for (unsigned p = 0; p < parts.size(); ++p)
        if (kinds[p] == kind) count += parts[p].cols();
      if (!s.keyword || count == 0) continue;
      out.put(s.keyword);
      out.put_int((long long)count);
      out.put('\n');
      for (unsigned p = 0; p < parts.size(); ++p) {
        if (kinds[p] != kind) continue;
        const dense2D<unsigned>& c = parts[p];
        for (unsigned e = 0; e < c.cols(); ++e) {
          const unsigned* col = c.data() + std::size_t(e) * c.ld();
          for (unsigned k = 0; k < s.count; ++k) {
            out.put_int((long long)col[s.order[k]] + 1);
            out.put(' ');
          }
          out.put_int(refs[p]);
          out.put(" \n");
        }
      }
      out.put('\n');
    }
    out.put("End\n");
  }
  std::fclose(f);
  return 0;
}

int medit_output(const char* filename, const dense2D<double>& pos,
                 const dense2D<unsigned>& connectivity, element_type type) {
  return io::one_connectivity(connectivity, type,
                              [&](auto first, auto last, const dense1D<int>& flags) {
                                return medit_output(filename, pos, first, last, flags);
                              });
}

int medit_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& first,
                 const dense2D<unsigned>& second, element_type first_type,
                 element_type second_type) {
  return io::two_connectivities(first, second, first_type, second_type,
                                [&](auto a, auto b, const dense1D<int>& flags) {
                                  return medit_output(filename, pos, a, b, flags);
                                });
}

int medit_output(const char* filename, const dense2D<double>& pos,
                 const dense2D<unsigned>& connectivity, element_type type,
                 const dense1D<unsigned>& groups) {
  if (connectivity.empty()) return 0;
  if (groups.size() != connectivity.cols()) return -5;
  unsigned top = 0;
  for (unsigned e = 0; e < groups.size(); ++e)
    if (groups[e] != NO_ID && groups[e] > top) top = groups[e];
  dense1D<dense2D<unsigned>> parts;
  dense1D<int> flags;
  if (!parts.resize(top + 1) || !flags.resize(top + 1, int(type))) return -6;
  for (unsigned e = 0; e < groups.size(); ++e) {
    if (groups[e] == NO_ID) continue;
    if (!parts[groups[e]].append_column(connectivity.col(e))) return -199;
  }
  return medit_output(filename, pos, parts.data(), parts.data() + parts.size(), flags);
}

int medit_scalar(const char* filename, unsigned dim, const dense1D<double>& values) {
  std::FILE* f = std::fopen(filename, "w");
  if (!f) return -1;
  {
    io::text_writer out(f);
    solution_header(out, dim, 1, values.size());
    for (unsigned i = 0; i < values.size(); ++i) {
      out.put_double(values[i], 'E', 6);
      out.put(' ');
      if (i % 8 == 7) out.put('\n');
    }
    out.put('\n');
  }
  std::fclose(f);
  return 0;
}

int medit_vector(const char* filename, unsigned dim, const dense2D<double>& vectors) {
  return columns_file(filename, dim, vectors, false);
}

int medit_tensor(const char* filename, const dense2D<double>& tensors) {
  return columns_file(filename, 0, tensors, true);
}

}  // namespace tessellix
}  // namespace qz4
