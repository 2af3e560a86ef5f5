// FEMAP neutral files: block 403 (nodes) and block 404 (elements, seven
// lines each). The writer emits those two blocks alone; the reader finds
// them among any others. Both undo each other's node orders.
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "formats/decks.h"
#include "formats/text_io.h"
#include "qz4/tessellix/formats.h"

namespace qz4 {
namespace tessellix {

namespace {

struct topology {
  int code;  // -1: the kind has none
  unsigned slot[20];
};

// By element_type: the topology code and the slot of each local node.
const topology topologies[21] = {
    {-1, {}},                                                                      // ET_NONE
    {9, {0}},                                                                      // ET_NODE
    {-1, {}},                                                                      // ET_EDGE_MIXED
    {0, {0, 1}},                                                                   // ET_EDGE2
    {1, {0, 1, 2}},                                                                // ET_EDGE3
    {-1, {}},                                                                      // ET_FACE_MIXED
    {2, {0, 1, 2}},                                                                // ET_TRIA3
    {4, {0, 1, 2, 3}},                                                             // ET_QUAD4
    {3, {0, 1, 2, 4, 5, 3}},                                                       // ET_TRIA6
    {5, {0, 1, 2, 3, 4, 5, 6, 7}},                                                 // ET_QUAD8
    {-1, {}},                                                                      // ET_QUAD9
    {-1, {}},                                                                      // ET_SOLID_MIXED
    {6, {1, 0, 2, 4}},                                                             // ET_TETRA4
    {10, {0, 2, 1, 4, 9, 8, 10, 12, 14, 13}},                                      // ET_TETRA10
    {-1, {}},                                                                      // ET_PYRA5
    {-1, {}},                                                                      // ET_PYRA14
    {7, {0, 1, 2, 4, 5, 6}},                                                       // ET_PENTA6
    {-1, {}},                                                                      // ET_PENTA18
    {8, {0, 1, 2, 3, 4, 5, 6, 7}},                                                 // ET_HEXA8
    {12, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19}},  // ET_HEXA20
    {-1, {}},                                                                      // ET_HEXA27
};

element_type kind_of_code(int code) {
  for (int k = 0; k < 21; ++k)
    if (topologies[k].code >= 0 && topologies[k].code == code) return element_type(k);
  return ET_NONE;
}

// Cut at commas, empty fields dropped.
void cut(std::string_view line, deck::fields& out) {
  out.n = 0;
  for (std::size_t a = 0; a <= line.size();) {
    std::size_t comma = line.find(',', a);
    if (comma == std::string_view::npos) comma = line.size();
    if (comma > a) out.add(line.substr(a, comma - a));
    a = comma + 1;
  }
}

// The line without its blanks equals `word`.
bool is_marker(std::string_view line, std::string_view word) {
  std::size_t k = 0;
  for (char c : line) {
    if (c == ' ') continue;
    if (k == word.size() || c != word[k]) return false;
    ++k;
  }
  return k == word.size();
}

int read_neutral(std::FILE* f, io::column_builder<double>& pos, io::column_builder<unsigned>& conn,
                 deck::runs r, deck::run_keeper& runs) {
  const std::size_t bytes = deck::file_size(f);
  io::block_reader in(f);
  deck::fields a;
  enum { outside, nodes, elements } state = outside;
  unsigned count = 0;  // elements read
  std::string_view line;
  while (in.next_line(line)) {
    if (state == outside) {
      state = is_marker(line, "403") ? nodes : is_marker(line, "404") ? elements : outside;
      continue;
    }
    if (is_marker(line, "-1")) {
      state = outside;
      continue;
    }
    cut(line, a);
    if (state == nodes) {
      if (a.n < 14) return -1;
      const int id = deck::to_int(a[0]);
      const int held = deck::hold_node(pos, id, bytes);
      if (held != 0) return held;
      double* c = pos.col(unsigned(id));
      for (unsigned i = 0; i < 3; ++i) c[i] = deck::to_double(a[11 + i]);
      continue;
    }
    if (a.n < 5) return -1;
    const unsigned property = unsigned(deck::to_int(a[1]));
    const element_type kind = kind_of_code(deck::to_int(a[4]));
    std::string_view skip;
    if (kind == ET_NONE) {  // an unknown topology: the record passes unread
      for (int k = 0; k < 6; ++k) in.next_line(skip);
    } else {
      unsigned slots[20];
      for (unsigned half = 0; half < 2; ++half) {
        std::string_view next;
        if (!in.next_line(next)) next = std::string_view();
        cut(next, a);
        if (a.n < 10) return -1;
        for (unsigned k = 0; k < 10; ++k) slots[10 * half + k] = unsigned(deck::to_int(a[k]));
      }
      const topology& t = topologies[kind];
      const unsigned n = element_nodes[kind];
      unsigned nodes_of[20];
      for (unsigned k = 0; k < n; ++k) nodes_of[k] = slots[t.slot[k]];
      if (!deck::append_element(conn, nodes_of, n) ||
          !deck::run_keeper::push(*r.properties, property))
        return -199;
      for (int k = 0; k < 4; ++k) in.next_line(skip);
      ++count;
    }
    if (!runs.element(int(kind), count - 1)) return -199;
  }
  return in.failed() ? -199 : 0;
}

void put_zeros(io::text_writer& out, unsigned n) {
  for (unsigned i = 0; i < n; ++i) out.put("0,");
}

}  // namespace

int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& conn,
                dense1D<unsigned>& starts, dense1D<int>& kinds, dense1D<unsigned>& properties) {
  return deck::read_runs(filename, pos, conn, starts, kinds, properties, read_neutral);
}

int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& conn,
                element_type& type) {
  return deck::single_input(pos, conn, type,
                            [filename](auto&... out) { return FEMAP_input(filename, out...); });
}

int FEMAP_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& first,
                dense2D<unsigned>& second, element_type& first_type, element_type& second_type) {
  return deck::two_input(pos, first, second, first_type, second_type,
                         [filename](auto&... out) { return FEMAP_input(filename, out...); });
}

int FEMAP_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& conn,
                 const dense1D<unsigned>& starts, const dense1D<int>& kinds,
                 const dense1D<unsigned>& properties) {
  int status;
  std::FILE* f = deck::open_output(filename, pos, conn, starts, kinds, properties, status);
  if (!f) return status;
  {
    io::text_writer out(f);
    const char* stars = "*********************************\n";
    out.put(stars);
    out.put("*********** NODES ***************\n");
    out.put(stars);
    out.put("-1\n403\n");
    for (unsigned n = 0; n < pos.cols(); ++n) {
      const double* c = pos.data() + std::size_t(n) * pos.ld();
      out.put_int(n);
      out.put(",0,0,1,0,0,0,0,0,0,0,");
      out.put_double(c[0], 'g', 6);
      out.put(',');
      out.put_double(c[1], 'g', 6);
      out.put(',');
      out.put_double(c[2], 'g', 6);
      out.put(",0,\n");
    }
    out.put("-1\n");
    out.put(stars);
    out.put("********* ELEMENTS **************\n");
    out.put(stars);
    out.put("-1\n404\n");
    for (unsigned r = 0; r < kinds.size(); ++r) {
      unsigned begin, end;
      deck::run_columns(starts, r, conn.cols(), begin, end);
      if (begin == end || kinds[r] < 0 || kinds[r] > 20) continue;
      const element_type kind = deck::written_kind(element_type(kinds[r]), conn, begin);
      const topology& t = topologies[kind];
      if (t.code < 0) continue;
      const unsigned n = element_nodes[kind];
      for (unsigned e = begin; e < end; ++e) {
        const unsigned* col = conn.data() + std::size_t(e) * conn.ld();
        long long slots[20] = {};
        for (unsigned k = 0; k < n; ++k) slots[t.slot[k]] = k < conn.rows() ? (long long)col[k] : 0;
        out.put_int(e);
        out.put(',');
        out.put_int(properties[e]);
        out.put(",0,32,");
        out.put_int(t.code);
        out.put(",1,0,0,0,0,0,0,0,\n");
        for (unsigned half = 0; half < 2; ++half) {
          for (unsigned k = 0; k < 10; ++k) {
            out.put_int(slots[10 * half + k]);
            out.put(',');
          }
          out.put('\n');
        }
        out.put("0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n");
        put_zeros(out, 16);
        out.put('\n');
      }
    }
    out.put("-1\n");
  }
  std::fclose(f);
  return 0;
}

int FEMAP_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& conn,
                 element_type type) {
  return deck::single_output(conn, type,
                             [&](const auto& c, const auto& s, const auto& k, const auto& p) {
                               return FEMAP_output(filename, pos, c, s, k, p);
                             });
}

int FEMAP_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& first,
                 const dense2D<unsigned>& second, element_type first_type,
                 element_type second_type) {
  return deck::two_output(first, second, first_type, second_type,
                          [&](const auto& c, const auto& s, const auto& k, const auto& p) {
                            return FEMAP_output(filename, pos, c, s, k, p);
                          });
}

}  // namespace tessellix
}  // namespace qz4
