// NASTRAN bulk data. The writer emits one fixed form: free-field element
// cards, one MAT1 card, large-field GRID* cards. The reader cuts lines into
// fields at blanks and commas and works from field positions, so it takes
// small-field, large-field and free-field cards alike.
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

#include "formats/decks.h"
#include "formats/text_io.h"
#include "qz4/tessellix/formats.h"

namespace qz4 {
namespace tessellix {

namespace {

constexpr unsigned zero = 99;  // a constant 0 in place of a node

struct written_card {
  const char* keyword;  // null: the kind is not written
  unsigned count;
  unsigned order[20];
};

// By element_type: the card and the rows written, in the order of the card.
const written_card written[21] = {
    {nullptr, 0, {}},                               // ET_NONE
    {"", 1, {zero}},                                // ET_NODE
    {nullptr, 0, {}},                               // ET_EDGE_MIXED
    {"CBAR", 2, {0, 1}},                            // ET_EDGE2
    {nullptr, 0, {}},                               // ET_EDGE3
    {nullptr, 0, {}},                               // ET_FACE_MIXED
    {"CTRIA3", 3, {0, 1, 2}},                       // ET_TRIA3
    {"CQUAD4", 4, {0, 1, 2, 3}},                    // ET_QUAD4
    {"CTRIA6", 6, {0, 1, 2, 5, 3, 4}},              // ET_TRIA6
    {"CQUAD8", 8, {0, 1, 2, 3, 4, 5, 6, 7}},        // ET_QUAD8
    {nullptr, 0, {}},                               // ET_QUAD9
    {nullptr, 0, {}},                               // ET_SOLID_MIXED
    {"CTETRA", 4, {1, 0, 2, zero}},                 // ET_TETRA4
    {"", 10, {0, 2, 1, 3, 5, 4, 6, 7, 9, 8}},       // ET_TETRA10
    {"CPENTA", 5, {zero, zero, zero, zero, zero}},  // ET_PYRA5
    {nullptr, 0, {}},                               // ET_PYRA14
    {"", 6, {0, 1, 2, 3, 4, 5}},                    // ET_PENTA6
    {nullptr, 0, {}},                               // ET_PENTA18
    {"CHEXA", 8, {0, 1, 2, 3, 4, 5, 6, 7}},         // ET_HEXA8
    {"", 20, {0, 1, 2, 3, 4, 5, 6, 7, 16, 15, 19, 12, 8, 9, 10, 11, 17, 14, 18, 13}},  // ET_HEXA20
    {nullptr, 0, {}},                                                                  // ET_HEXA27
};

struct read_card {
  const char* name;  // matched with or without a leading C
  element_type kind;
  unsigned order[8];  // row k of the column takes the card's node k of this list
  bool nodes;         // false: the column is all NO_ID
};

const read_card read_cards[] = {
    {"BAR", ET_EDGE2, {0, 1}, true},
    {"BEAM", ET_EDGE2, {0, 1}, true},
    {"ROD", ET_EDGE2, {0, 1}, true},
    {"TRIA3", ET_TRIA3, {0, 1, 2}, true},
    {"TRIA6", ET_TRIA6, {0, 1, 2, 4, 5, 3}, true},
    {"QUAD4", ET_QUAD4, {0, 1, 2, 3}, true},
    {"QUAD8", ET_QUAD8, {0, 1, 2, 3, 4, 5, 6, 7}, true},
    {"TETRA", ET_TETRA4, {0, 2, 1, 3}, true},
    {"PENTA", ET_PYRA5, {}, false},
    {"HEXA", ET_HEXA8, {0, 1, 2, 3, 4, 5, 6, 7}, true},
};

const read_card* card_of(std::string_view key) {
  if (!key.empty() && key[0] == 'C') key.remove_prefix(1);
  for (const read_card& c : read_cards)
    if (key == c.name) return &c;
  return nullptr;
}

// First at blanks, empty pieces dropped; then each piece at commas, empty
// pieces kept.
void cut(std::string_view line, deck::fields& out) {
  out.n = 0;
  std::size_t i = 0;
  while (i < line.size()) {
    if (line[i] == ' ') {
      ++i;
      continue;
    }
    std::size_t end = line.find(' ', i);
    if (end == std::string_view::npos) end = line.size();
    const std::string_view piece = line.substr(i, end - i);
    for (std::size_t a = 0;;) {
      const std::size_t comma = piece.find(',', a);
      out.add(
          piece.substr(a, comma == std::string_view::npos ? std::string_view::npos : comma - a));
      if (comma == std::string_view::npos) break;
      a = comma + 1;
    }
    i = end;
  }
}

// A GRID or GRID* card; for GRID* the continuation line is read here.
int node_card(deck::fields& a, bool large, io::block_reader& in, deck::fields& b,
              io::column_builder<double>& pos, std::size_t bytes) {
  if (a.n < 2) return -1;
  if (large) {
    const std::string_view id = a[1];
    std::string_view next;
    if (!in.next_line(next)) next = std::string_view();
    cut(next, b);
    if (a[a.n - 1] == id) --a.n;
    if (b.n < 2 || (b[1] == id && b.n < 3)) return -1;
    a.add(b[1] == id ? b[2] : b[1]);
    if (a.n < 2) return -1;
  }
  const int id = deck::to_int(a[1]);
  const int held = deck::hold_node(pos, id, bytes);
  if (held != 0) return held;
  // A whole number without a point in field 2 is a coordinate system.
  const unsigned first =
      a.n > 2 && deck::to_int(a[2]) != 0 && a[2].find('.') == std::string_view::npos ? 3 : 2;
  double c[3] = {0, 0, 0};
  unsigned found = 0;
  for (unsigned p = 0; p < 3 && found < 3 && first + p < a.n; ++p) {
    const std::string_view f = a[first + p];
    unsigned dots = 0;
    for (char ch : f) dots += ch == '.';
    if (dots == 1) {
      c[found++] = deck::to_double(f);
    } else {
      // Numbers glued together in slices of 8 characters.
      for (unsigned s = 0; dots > 1 && s < dots && p + s < 3 && found < 3; ++s)
        c[found++] = deck::to_double(8 * s < f.size() ? f.substr(8 * s, 8) : std::string_view());
    }
  }
  double* col = pos.col(unsigned(id));
  col[0] = c[0], col[1] = c[1], col[2] = c[2];
  return 0;
}

int read_deck(std::FILE* f, io::column_builder<double>& pos, io::column_builder<unsigned>& conn,
              deck::runs r, deck::run_keeper& runs) {
  const std::size_t bytes = deck::file_size(f);
  io::block_reader in(f);
  deck::fields a, b;
  std::string hold;  // the card's first line, kept while its continuation is read
  bool bulk = false;
  std::string_view line;
  while (in.next_line(line)) {
    if (!bulk) {
      bulk = line.find("BEGIN BULK") != std::string_view::npos;
      continue;
    }
    if (line.find("ENDDATA") != std::string_view::npos) break;
    hold.assign(line.data(), line.size());
    cut(hold, a);
    if (a.n == 0) continue;
    if (a[0].substr(0, 4) == "GRID") {
      const int status = node_card(a, a[0].substr(0, 5) == "GRID*", in, b, pos, bytes);
      if (status != 0) return status;
      continue;
    }
    std::string_view key = a[0];
    const std::size_t star = key.find('*');
    if (star != std::string_view::npos) key = key.substr(0, star);
    const read_card* card = card_of(key);
    if (!card) continue;
    if (star != std::string_view::npos) {  // large field: the second line goes on
      std::string_view next;
      if (!in.next_line(next)) next = std::string_view();
      cut(next, b);
      for (unsigned i = 1; i < b.n; ++i) a.add(b[i]);
    }
    const unsigned n = element_nodes[card->kind];
    if (a.n < 3 + n) return -1;
    unsigned nodes[8];
    for (unsigned k = 0; k < n; ++k)
      nodes[k] = card->nodes ? unsigned(deck::to_int(a[3 + card->order[k]])) : NO_ID;
    if (!deck::append_element(conn, nodes, n) ||
        !deck::run_keeper::push(*r.properties, unsigned(deck::to_int(a[2]))) ||
        !runs.element(int(card->kind), conn.cols() - 1))
      return -199;
  }
  if (!bulk) return -1;
  return in.failed() ? -199 : 0;
}

void banner(io::text_writer& out, const char* middle) {
  out.put("$----------------------------------------\n$                                        \n");
  out.put(middle);
  out.put("$                                        \n$----------------------------------------\n");
}

}  // namespace

int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& conn,
                  dense1D<unsigned>& starts, dense1D<int>& kinds, dense1D<unsigned>& properties) {
  return deck::read_runs(filename, pos, conn, starts, kinds, properties, read_deck);
}

int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& conn,
                  element_type& type) {
  return deck::single_input(pos, conn, type,
                            [filename](auto&... out) { return NASTRAN_input(filename, out...); });
}

int NASTRAN_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& first,
                  dense2D<unsigned>& second, element_type& first_type, element_type& second_type) {
  return deck::two_input(pos, first, second, first_type, second_type,
                         [filename](auto&... out) { return NASTRAN_input(filename, out...); });
}

int NASTRAN_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& conn,
                   const dense1D<unsigned>& starts, const dense1D<int>& kinds,
                   const dense1D<unsigned>& properties) {
  int status;
  std::FILE* f = deck::open_output(filename, pos, conn, starts, kinds, properties, status);
  if (!f) return status;
  {
    io::text_writer out(f);
    out.put("$ QZ4 Tessellix Nastran exporter\nBEGIN BULK\n");
    banner(out, "$                 ELEMENTS               \n");
    for (unsigned r = 0; r < kinds.size(); ++r) {
      unsigned begin, end;
      deck::run_columns(starts, r, conn.cols(), begin, end);
      if (begin == end || kinds[r] < 0 || kinds[r] > 20) continue;
      const element_type given = element_type(kinds[r]);
      const element_type kind = deck::written_kind(given, conn, begin);
      const written_card& card = written[kind];
      // "CPENTA" stands for the pyramids of a mixed run only: a run of
      // pyramids is left out like the kinds without a card.
      if (!card.keyword || (kind == ET_PYRA5 && given != ET_SOLID_MIXED)) continue;
      for (unsigned e = begin; e < end; ++e) {
        const unsigned* col = conn.data() + std::size_t(e) * conn.ld();
        out.put(card.keyword);
        out.put(',');
        out.put_int(e);
        out.put(',');
        out.put_int(properties[e]);
        out.put(',');
        for (unsigned k = 0; k < card.count; ++k) {
          const unsigned row = card.order[k];
          out.put_int(row == zero || row >= conn.rows() ? 0 : (long long)col[row]);
          out.put(',');
        }
        out.put('\n');
      }
    }
    out.put(
        "$----------------------------------------\n$ Referenced Material Records -----------\n"
        "$ Material Record :    ------------------\n$ Description of Material :   -----------\n"
        "MAT1     1      1100.           .35 1.1E-6\n");
    banner(out, "$                GRID POINTS             \n");
    for (unsigned n = 0; n < pos.cols(); ++n) {
      const double* c = pos.data() + std::size_t(n) * pos.ld();
      out.printf("GRID*   %-16u%-#16g%-#16g\n*       %#g\n", n, c[0], c[1], c[2]);
    }
    out.put("ENDDATA\n");
  }
  std::fclose(f);
  return 0;
}

int NASTRAN_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& conn,
                   element_type type) {
  return deck::single_output(conn, type,
                             [&](const auto& c, const auto& s, const auto& k, const auto& p) {
                               return NASTRAN_output(filename, pos, c, s, k, p);
                             });
}

int NASTRAN_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& first,
                   const dense2D<unsigned>& second, element_type first_type,
                   element_type second_type) {
  return deck::two_output(first, second, first_type, second_type,
                          [&](const auto& c, const auto& s, const auto& k, const auto& p) {
                            return NASTRAN_output(filename, pos, c, s, k, p);
                          });
}

}  // namespace tessellix
}  // namespace qz4
