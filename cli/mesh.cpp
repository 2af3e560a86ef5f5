// The mesh as the tool holds it, the element kinds by name, and the views the
// topology and quality services are given.
#include <algorithm>

#include "tool.h"

namespace cli {

using namespace qz4;

namespace {

struct kind_row {
  const char* name;
  unsigned dimension;
  element_type linear;  // the kind of its corners, which the measures serve
};

const kind_row kinds[21] = {
    {"none", 0, ET_NONE},     {"node", 0, ET_NODE},      {"edge_mixed", 1, ET_NONE},
    {"edge2", 1, ET_EDGE2},   {"edge3", 1, ET_EDGE2},    {"face_mixed", 2, ET_FACE_MIXED},
    {"tria3", 2, ET_TRIA3},   {"quad4", 2, ET_QUAD4},    {"tria6", 2, ET_TRIA3},
    {"quad8", 2, ET_QUAD4},   {"quad9", 2, ET_QUAD4},    {"solid_mixed", 3, ET_SOLID_MIXED},
    {"tetra4", 3, ET_TETRA4}, {"tetra10", 3, ET_TETRA4}, {"pyra5", 3, ET_PYRA5},
    {"pyra14", 3, ET_PYRA5},  {"penta6", 3, ET_PENTA6},  {"penta18", 3, ET_PENTA6},
    {"hexa8", 3, ET_HEXA8},   {"hexa20", 3, ET_HEXA8},   {"hexa27", 3, ET_HEXA8}};

}  // namespace

const char* kind_name(element_type type) { return kinds[type].name; }
unsigned kind_dimension(element_type type) { return kinds[type].dimension; }
element_type linear_kind(element_type type) { return kinds[type].linear; }

unsigned mesh::elements() const {
  unsigned n = 0;
  for (const auto& c : conn) n += c.cols();
  return n;
}

dense1D<int> mesh::flags() const {
  dense1D<int> f(unsigned(kind.size()));
  for (unsigned i = 0; i < f.size(); ++i) f[i] = kind[i];
  return f;
}

void mesh::add(const dense2D<unsigned>& c, element_type k, const dense1D<unsigned>& g) {
  conn.push_back(c);
  kind.push_back(k);
  groups.push_back(g);
}

std::string mesh_words(const mesh& m) {
  std::string s = format("%u nodes", m.pos.cols());
  // Kinds in the order of element_type, blocks of one kind summed.
  for (int k = 0; k < 21; ++k) {
    unsigned n = 0;
    for (std::size_t b = 0; b < m.conn.size(); ++b)
      if (m.kind[b] == k) n += m.conn[b].cols();
    if (n) s += format(", %u %s", n, kind_name(element_type(k)));
  }
  return s;
}

top_view top_elements(const mesh& m) {
  top_view v;
  std::vector<std::size_t> blocks;
  element_type shape = ET_NONE;
  unsigned columns = 0;
  for (std::size_t b = 0; b < m.conn.size(); ++b) {
    const unsigned d = kind_dimension(m.kind[b]);
    if (m.conn[b].cols() == 0 || d == 0 || d < v.dimension) continue;
    if (d > v.dimension)
      blocks.clear(), columns = 0, v.dimension = d, shape = linear_kind(m.kind[b]);
    blocks.push_back(b);
    columns += m.conn[b].cols();
    if (linear_kind(m.kind[b]) != shape) shape = d == 2 ? ET_FACE_MIXED : ET_SOLID_MIXED;
  }
  if (blocks.empty()) return v;
  v.kind = shape;
  if (blocks.size() == 1 && m.kind[blocks[0]] == shape) {
    v.conn = m.conn[blocks[0]];  // shared, not copied
    return v;
  }
  // Corners of every block into one matrix, padded as the mixed kinds are.
  const unsigned rows = shape == ET_FACE_MIXED    ? 4
                        : shape == ET_SOLID_MIXED ? 8
                                                  : element_nodes[shape];
  if (!v.conn.resize(rows, columns, NO_ID)) check_status(-199, "gathering the elements");
  unsigned at = 0;
  for (std::size_t b : blocks) {
    const dense2D<unsigned>& c = m.conn[b];
    const unsigned corners = element_corners[m.kind[b]];
    for (unsigned e = 0; e < c.cols(); ++e, ++at)
      for (unsigned r = 0; r < corners; ++r) v.conn(r, at) = c(r, e);
  }
  return v;
}

std::vector<dense1D<double>> block_qualities(const mesh& m) {
  std::vector<dense1D<double>> q(m.conn.size());
  for (std::size_t b = 0; b < m.conn.size(); ++b) {
    const element_type k = linear_kind(m.kind[b]);
    if (kind_dimension(k) < 2) continue;
    const dense2D<unsigned> corners =
        m.conn[b].sub_matrix(0, 0, element_corners[k], m.conn[b].cols());
    check_status(tessellix::shape_qualities(m.pos, corners, k, q[b]), "measuring the elements");
  }
  return q;
}

std::string bar_chart(const misc::histogram& h) {
  const std::vector<unsigned long> bins = h.bins();
  unsigned long most = 1;
  for (unsigned long b : bins) most = std::max(most, b);
  const double width = (h.upper() - h.lower()) / bins.size();
  std::string s;
  for (std::size_t i = 0; i < bins.size(); ++i) {
    const unsigned bar = unsigned((40 * bins[i] + most - 1) / most);
    s += format("  %4.2f-%4.2f |%-40s| %lu\n", h.lower() + i * width, h.lower() + (i + 1) * width,
                std::string(bar, '#').c_str(), bins[i]);
  }
  if (h.below()) s += format("  below %.2f (inverted) %lu\n", h.lower(), h.below());
  if (h.nan_count()) s += format("  not a number %lu\n", h.nan_count());
  return s;
}

}  // namespace cli
