// File formats: the format of a file from its name, every reader and writer
// of the library behind one pair of calls, and their statuses in words.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "tool.h"

namespace cli {

using namespace qz4;
using namespace qz4::tessellix;

namespace {

struct format_row {
  file_format f;
  const char* words;
  const char* names;  // extensions and names that --from and --to take, blank-separated
};

const format_row formats[] = {
    {file_format::stl, "STL", "stl"},
    {file_format::obj, "Wavefront OBJ", "obj"},
    {file_format::medit, "MEDIT", "mesh meshb medit"},
    {file_format::medit_solution, "MEDIT solution", "sol solb"},
    {file_format::vtk, "legacy VTK", "vtk"},
    {file_format::ensight, "EnSight", "case geo ensight"},
    {file_format::nastran, "NASTRAN", "nas bdf dat nastran"},
    {file_format::femap, "FEMAP neutral", "neu femap"},
};

constexpr unsigned bit(element_type t) { return 1u << t; }

// The kinds each writer carries whole: STL and OBJ hold surfaces (STL's
// quadrangles go as two triangles each); the MEDIT writer keeps corners only
// and the VTK writer shows a quadratic element as a linear cell beside a cell
// of loose points; the EnSight writer drops pyramids and writes ET_TRIA6
// twice over; the NASTRAN writer loses a node of every tetrahedron and writes
// wedges and quadratic solids without a keyword; FEMAP has no topology code
// for the rest.
unsigned held_kinds(file_format f) {
  constexpr unsigned linear = bit(ET_EDGE2) | bit(ET_TRIA3) | bit(ET_QUAD4) | bit(ET_TETRA4) |
                              bit(ET_PYRA5) | bit(ET_PENTA6) | bit(ET_HEXA8);
  switch (f) {
    case file_format::stl:
    case file_format::obj:
      return bit(ET_TRIA3) | bit(ET_QUAD4);
    case file_format::medit:
    case file_format::vtk:
      return linear;
    case file_format::ensight:
      return bit(ET_EDGE2) | bit(ET_EDGE3) | bit(ET_TRIA3) | bit(ET_QUAD4) | bit(ET_QUAD8) |
             bit(ET_TETRA4) | bit(ET_TETRA10) | bit(ET_PENTA6) | bit(ET_HEXA8) | bit(ET_HEXA20);
    case file_format::nastran:
      return bit(ET_EDGE2) | bit(ET_TRIA3) | bit(ET_TRIA6) | bit(ET_QUAD4) | bit(ET_QUAD8) |
             bit(ET_HEXA8);
    case file_format::femap:
      return bit(ET_NODE) | bit(ET_EDGE2) | bit(ET_EDGE3) | bit(ET_TRIA3) | bit(ET_TRIA6) |
             bit(ET_QUAD4) | bit(ET_QUAD8) | bit(ET_TETRA4) | bit(ET_TETRA10) | bit(ET_PENTA6) |
             bit(ET_HEXA8) | bit(ET_HEXA20);
    default:
      return 0;
  }
}

struct status_words {
  int status;
  const char* words;
};

// Words of a status from a reader's or writer's table; -199 as memory words.
template <std::size_t N>
std::string words_of(int status, const status_words (&table)[N]) {
  if (status == -199) return memory_words();
  for (const auto& row : table)
    if (row.status == status) return row.words;
  return format("the library answered status %d", status);
}

[[noreturn]] void cannot_read(const std::string& path, const char* what, const std::string& why) {
  fail(file_error, format("cannot read %s (%s): %s", path.c_str(), what, why.c_str()));
}

const char* const open_words = "it cannot be opened";

const status_words medit_in[] = {
    {-1, open_words},
    {-2,
     "not a MEDIT mesh: no MeshVersionFormatted line or binary code, an unknown binary "
     "version, a dimension other than 2 or 3, or elements before the vertices"},
    {-3,
     "cut short or corrupt: a count larger than the rest of the file holds, a number that "
     "does not read, or no End line"},
    {-4, "an element names a vertex outside 1 to the vertex count"}};

const status_words vtk_in[] = {
    {-1, open_words},
    {-2,
     "not a legacy VTK file of an unstructured grid or polygonal data: a wrong first line, "
     "a format other than ASCII or BINARY, or another dataset"},
    {-3,
     "cut short or corrupt: a count larger than the rest of the file holds, a number that "
     "does not read, or a cell that overruns its list"},
    {-4, "a cell names a point beyond the points"}};

const status_words obj_in[] = {
    {-1,
     "a statement does not read: a bare keyword, a \"v\" with fewer than 3 numbers, a \"vn\" "
     "without exactly 3, a \"vt\" with more than 3, a bad character in a face corner, or "
     "texture or normal numbers before any \"vt\" or \"vn\" line"}};

// ---------------------------------------------------------------------------
// Readers.
// ---------------------------------------------------------------------------

constexpr unsigned stl_triangle_limit = 59652323;  // 9 doubles each in one 4 GB block

// Tells text from binary STL by the size, since many binary files start
// with "solid" too: a binary file is 84 + 50 x count bytes. Fails on a file
// that is neither a whole binary file nor a text file that ends its solid.
bool stl_is_text(const std::string& path) {
  unsigned char head[84] = {};
  std::FILE* f = std::fopen(path.c_str(), "rb");
  const std::size_t n = f ? std::fread(head, 1, sizeof head, f) : 0;
  const unsigned long long count =
      head[80] | head[81] << 8 | head[82] << 16 | (unsigned long long)head[83] << 24;
  const long long size = file_size(path);
  if (n == 84 && 84 + 50 * count == (unsigned long long)size) {
    if (f) std::fclose(f);
    if (count > stl_triangle_limit)
      cannot_read(path, "binary STL",
                  format("%llu triangles are past the library's size limit: their unwelded "
                         "corners make one block of %llu bytes, and a block holds at most 4 GB "
                         "(its byte count is 32-bit), so at most %u triangles fit",
                         count, 72 * count, stl_triangle_limit));
    return false;
  }
  std::size_t i = 0;
  while (i < n && std::isspace(head[i])) ++i;
  const bool solid = n - i >= 5 && std::memcmp(head + i, "solid", 5) == 0;
  // A text file ends its solid with an "endsolid" line.
  char tail[1024] = {};
  std::size_t t = 0;
  if (f && solid) {
    std::fseek(f, size > long(sizeof tail) ? long(size - sizeof tail) : 0L, SEEK_SET);
    t = std::fread(tail, 1, sizeof tail, f);
  }
  if (f) std::fclose(f);
  while (t && std::isspace((unsigned char)tail[t - 1])) --t;
  std::size_t line = t;
  while (line && tail[line - 1] != '\n' && tail[line - 1] != '\r') --line;
  while (line < t && std::isspace((unsigned char)tail[line])) ++line;
  if (solid && t - line >= 8 && std::memcmp(tail + line, "endsolid", 8) == 0) return true;
  if (n < 84 && !solid) cannot_read(path, "binary STL", "not a binary STL: 84-byte header missing");
  cannot_read(path, "STL",
              format("neither a whole binary STL (its header announces %llu triangles, %llu "
                     "bytes, and the file has %lld) nor a text STL (%s)",
                     count, 84 + 50 * count, size,
                     solid ? "no \"endsolid\" line at its end: cut short"
                           : "it does not begin with \"solid\""));
}

void read_stl(const std::string& path, mesh& m, std::string& what) {
  const bool text = stl_is_text(path);
  what = text ? "text STL" : "binary STL";
  dense2D<unsigned> tri;
  const int n = STL_input(path.c_str(), m.pos, tri, text);
  if (n < 0)
    cannot_read(path, what.c_str(),
                n == -199 ? memory_words()
                : n == -1
                    ? (text ? "it has no first line" : "not a binary STL: 84-byte header missing")
                    : format("the weld of its triangles failed (status %d)", n));
  m.add(tri, ET_TRIA3);
}

void read_obj(const std::string& path, mesh& m) {
  // A face on a last line without its newline would be dropped: add one.
  const text_copy copy(path, false, true);
  dense2D<double> normals, textures;
  dense2D<unsigned> tri, quad;
  const int s = WavefrontOBJ_input(copy.name(), m.pos, normals, textures, tri, quad);
  if (s < 0) cannot_read(path, "Wavefront OBJ", words_of(s, obj_in));
  if (!check_IDs(tri, ET_TRIA3, m.pos.cols()) || !check_IDs(quad, ET_QUAD4, m.pos.cols()))
    cannot_read(path, "Wavefront OBJ",
                format("a face names a vertex past the %u vertices of the file (relative, "
                       "negative face numbers are not understood)",
                       m.pos.cols()));
  if (!tri.empty()) m.add(tri, ET_TRIA3);
  if (!quad.empty()) m.add(quad, ET_QUAD4);
}

void read_medit(const std::string& path, mesh& m) {
  dense1D<int> node_refs, kinds;
  dense1D<dense2D<unsigned>> conns;
  dense1D<dense1D<int>> refs;
  const int s = medit_input(path.c_str(), m.pos, node_refs, conns, kinds, refs);
  if (s < 0) cannot_read(path, "MEDIT", words_of(s, medit_in));
  for (unsigned i = 0; i < conns.size(); ++i) {
    dense1D<unsigned> g(refs[i].size());
    for (unsigned e = 0; e < g.size(); ++e) g[e] = unsigned(refs[i][e]);
    m.add(conns[i], element_type(kinds[i]), g);
  }
}

void read_vtk(const std::string& path, mesh& m) {
  dense1D<dense2D<unsigned>> conns;
  dense1D<int> kinds;
  const int s = vtk_input(path.c_str(), m.pos, conns, kinds, m.skipped);
  if (s < 0) cannot_read(path, "legacy VTK", words_of(s, vtk_in));
  for (unsigned i = 0; i < conns.size(); ++i) m.add(conns[i], element_type(kinds[i]));
  if (m.skipped)
    note(
        format("%s: %u cells of kinds that have no element here (poly-lines, poly-vertices, "
               "strips, polygons of more than 4 corners...) were left out",
               path.c_str(), m.skipped));
}

bool contains(const char* path, const char* text) {
  std::FILE* f = std::fopen(path, "rb");
  if (!f) return false;
  std::string s;
  char buf[1 << 16];
  bool found = false;
  for (std::size_t n; !found && (n = std::fread(buf, 1, sizeof buf, f)) > 0;) {
    s.erase(0, s.size() > 64 ? s.size() - 64 : 0);  // a match may straddle two reads
    s.append(buf, n);
    found = s.find(text) != std::string::npos;
  }
  std::fclose(f);
  return found;
}

// The runs of a deck as blocks, each checked against the nodes, since the
// deck readers do not compare node numbers with the node count.
void deck_blocks(const std::string& path, const char* what, mesh& m, const dense2D<unsigned>& conn,
                 const dense1D<unsigned>& starts, const dense1D<int>& kinds,
                 const dense1D<unsigned>& properties) {
  if (starts.size() != kinds.size() + 1) cannot_read(path, what, "its element runs do not line up");
  for (unsigned r = 0; r < kinds.size(); ++r) {
    const element_type k = element_type(kinds[r]);
    const unsigned s = starts[r], e = starts[r + 1];
    if (k <= ET_NONE || k > ET_HEXA27 || element_nodes[k] == 0 || s > e || e > conn.cols() ||
        element_nodes[k] > conn.rows())
      cannot_read(path, what, format("element %u has a topology this reader does not know", s));
    dense2D<unsigned> block;
    dense1D<unsigned> groups;
    if (!block.copy(conn.sub_matrix(0, s, element_nodes[k], e - s)) ||
        !groups.copy(properties.sub_vector(s, e - s)))
      cannot_read(path, what, memory_words());
    if (!check_IDs(block, k, m.pos.cols())) {
      for (unsigned c = 0; c < block.cols(); ++c)
        for (unsigned i = 0; i < block.rows(); ++i)
          if (block(i, c) == NO_ID)
            cannot_read(path, what,
                        format("element %u (%s) comes without its nodes%s", s + c, kind_name(k),
                               k == ET_PYRA5 ? ": this reader takes no wedge card (CPENTA)" : ""));
          else if (block(i, c) >= m.pos.cols())
            cannot_read(path, what,
                        format("element %u (%s) names node %u, and the file has nodes 0 to %u "
                               "only",
                               s + c, kind_name(k), block(i, c), m.pos.cols() - 1));
    }
    m.add(block, k, groups);
  }
}

void read_deck(const std::string& path, file_format f, mesh& m) {
  // The deck readers cut fields at blanks and commas only: a CR of a deck
  // saved on Windows would stick to the last field, so CR LF becomes LF.
  const text_copy copy(path, true, false);
  dense2D<unsigned> conn;
  dense1D<unsigned> starts, properties;
  dense1D<int> kinds;
  const bool nastran = f == file_format::nastran;
  const char* what = format_name(f);
  const int s = nastran ? NASTRAN_input(copy.name(), m.pos, conn, starts, kinds, properties)
                        : FEMAP_input(copy.name(), m.pos, conn, starts, kinds, properties);
  if (s == -199) cannot_read(path, what, memory_words());
  if (s < 0) {
    const char* short_card = nastran ? "a card with fewer fields than it needs"
                                     : "a record with fewer fields than it needs";
    if (nastran && !contains(copy.name(), "BEGIN BULK"))
      cannot_read(path, what,
                  "no \"BEGIN BULK\" line (decks without one, as gmsh writes them, are not read)");
    if (m.pos.empty())
      cannot_read(path, what,
                  format("no node (%s), or %s", nastran ? "GRID card" : "block 403", short_card));
    if (conn.empty())
      cannot_read(
          path, what,
          format("no element that this reader knows (%s), or %s",
                 nastran ? "CBAR, CBEAM, CROD, CTRIA3, CTRIA6, CQUAD4, CQUAD8, CTETRA, CHEXA"
                         : "block 404",
                 short_card));
    cannot_read(path, what, short_card);
  }
  deck_blocks(path, what, m, conn, starts, kinds, properties);
}

// ---------------------------------------------------------------------------
// Writers.
// ---------------------------------------------------------------------------

[[noreturn]] void cannot_write(const output_file& out, file_format f, const std::string& why) {
  fail(file_error,
       format("cannot write %s (%s): %s", out.path().c_str(), format_name(f), why.c_str()));
}

const char* const write_failed = "writing failed (is the disk full?)";

const status_words stl_out[] = {{-1, write_failed},
                                {-2, "the coordinates have neither 2 nor 3 rows"},
                                {-3, "a triangle names a node that is not in the mesh"}};
const status_words obj_out[] = {{-1, write_failed},
                                {-2, "the coordinates have neither 2 nor 3 rows"}};
const status_words view_out[] = {{-1, write_failed},
                                 {-2, "the coordinates have a row count the format does not take"},
                                 {-3, "an element names a node that is not in the mesh"}};
const status_words deck_out[] = {{-1, write_failed},
                                 {-2, "the coordinates have not 3 rows"},
                                 {-3, "an element run does not fit its kind"}};

// All elements of the given kinds in one matrix of `rows` rows, NO_ID below
// shorter elements; with `split`, quadrangles as two triangles each.
dense2D<unsigned> gather(const mesh& m, unsigned kinds, unsigned rows, bool split) {
  unsigned cols = 0;
  for (std::size_t b = 0; b < m.conn.size(); ++b)
    if (kinds & bit(m.kind[b])) cols += m.conn[b].cols() * (split && m.kind[b] == ET_QUAD4 ? 2 : 1);
  dense2D<unsigned> out;
  if (!out.resize(rows, cols, NO_ID)) check_status(-199, "gathering the elements");
  unsigned at = 0;
  for (std::size_t b = 0; b < m.conn.size(); ++b) {
    if (!(kinds & bit(m.kind[b]))) continue;
    const dense2D<unsigned>& c = m.conn[b];
    for (unsigned e = 0; e < c.cols(); ++e) {
      if (split && m.kind[b] == ET_QUAD4) {
        const unsigned q[6] = {c(0, e), c(1, e), c(2, e), c(0, e), c(2, e), c(3, e)};
        for (unsigned r = 0; r < 6; ++r) out(r % 3, at + r / 3) = q[r];
        at += 2;
      } else {
        for (unsigned r = 0; r < c.rows(); ++r) out(r, at) = c(r, e);
        ++at;
      }
    }
  }
  return out;
}

dense2D<unsigned> only(const mesh& m, element_type k, unsigned rows, bool split) {
  if (m.conn.size() == 1 && m.kind[0] == k) return m.conn[0];  // shared, not copied
  return gather(m, bit(k) | (split ? bit(ET_QUAD4) : 0), rows, split);
}

dense2D<double> in_3d(const dense2D<double>& pos) {
  if (pos.rows() == 3) return pos;
  dense2D<double> p;
  if (!p.resize(3, pos.cols())) check_status(-199, "widening the coordinates");
  p = 0.0;
  for (unsigned n = 0; n < pos.cols(); ++n)
    for (unsigned r = 0; r < pos.rows() && r < 3; ++r) p(r, n) = pos(r, n);
  return p;
}

void write_deck(const mesh& m, const output_file& out, file_format f) {
  if (m.elements() == 0) cannot_write(out, f, "the mesh has no element, and a deck needs one");
  unsigned rows = 0;
  for (auto k : m.kind) rows = std::max(rows, element_nodes[k]);
  dense1D<unsigned> starts(1, 0u), properties;
  dense1D<int> kinds;
  for (std::size_t b = 0; b < m.conn.size(); ++b) {
    if (m.conn[b].cols() == 0) continue;
    kinds.push_back(m.kind[b]);
    starts.push_back(starts[starts.size() - 1] + m.conn[b].cols());
    for (unsigned e = 0; e < m.conn[b].cols(); ++e)
      properties.push_back(m.groups[b].size() == m.conn[b].cols() ? m.groups[b][e]
                                                                  : unsigned(b + 1));
  }
  const dense2D<unsigned> conn = gather(m, ~0u, rows, false);
  if (properties.size() != conn.cols() || starts.size() != kinds.size() + 1)
    check_status(-199, "gathering the elements");
  const int s = f == file_format::nastran
                    ? NASTRAN_output(out.temp(), in_3d(m.pos), conn, starts, kinds, properties)
                    : FEMAP_output(out.temp(), in_3d(m.pos), conn, starts, kinds, properties);
  if (s < 0) cannot_write(out, f, words_of(s, deck_out));
}

}  // namespace

file_format format_of(const std::string& path, const std::string& forced, const char* option) {
  std::string key = forced;
  if (key.empty()) {
    const std::size_t dot = path.rfind('.'), slash = path.rfind('/');
    if (dot != std::string::npos && (slash == std::string::npos || dot > slash))
      key = path.substr(dot + 1);
  }
  for (char& c : key) c = char(std::tolower((unsigned char)c));
  std::string known;
  for (const auto& row : formats) {
    const std::string names = std::string(" ") + row.names + " ";
    if (!key.empty() && names.find(" " + key + " ") != std::string::npos) return row.f;
    known += std::string(known.empty() ? "" : " ") + row.names;
  }
  if (!forced.empty())
    fail(usage,
         format("unknown format \"%s\" (%s takes: %s)", forced.c_str(), option, known.c_str()));
  fail(usage, format("cannot tell the format of %s from its extension: give %s (one of: %s)",
                     path.c_str(), option, known.c_str()));
}

const char* format_name(file_format f) {
  for (const auto& row : formats)
    if (row.f == f) return row.words;
  return "?";
}

mesh read_mesh(const std::string& path, file_format f) {
  stage st("read");
  std::string what = format_name(f);
  const std::string why = open_error(path);
  if (!why.empty()) cannot_read(path, what.c_str(), why);
  mesh m;
  switch (f) {
    case file_format::stl:
      read_stl(path, m, what);
      break;
    case file_format::obj:
      read_obj(path, m);
      break;
    case file_format::medit:
      read_medit(path, m);
      break;
    case file_format::vtk:
      read_vtk(path, m);
      break;
    case file_format::nastran:
    case file_format::femap:
      read_deck(path, f, m);
      break;
    default:
      cannot_read(path, what.c_str(), "the library has no reader of this format");
  }
  m.variety = what;
  st.done(format("%s (%s): %s", path.c_str(), what.c_str(), mesh_words(m).c_str()));
  return m;
}

int write_vtk(const mesh& m, const char* file, const std::vector<dense1D<double>>* cell_values) {
  unsigned count = 0;
  dense1D<unsigned> cells, types;
  for (std::size_t b = 0; b < m.conn.size(); ++b) {
    if (m.kind[b] == ET_NODE) continue;  // no VTK cell of the library's
    const int s = vtk_convert(m.conn[b], m.kind[b], count, cells, types);
    if (s < 0) return s;
  }
  std::FILE* f = std::fopen(file, "w");
  if (!f) return -1;
  int s = vtk_output(f, m.pos, count, cells, types);
  if (s == 0 && cell_values) {
    // One value per cell: an element with nodes past its corners is two
    // cells, its corners and a poly-vertex of the others.
    std::fprintf(f, "CELL_DATA %u\nSCALARS quality double 1\nLOOKUP_TABLE default\n", count);
    for (std::size_t b = 0; b < m.conn.size(); ++b) {
      if (m.kind[b] == ET_NODE) continue;
      const unsigned twice = m.conn[b].rows() > element_corners[m.kind[b]] ? 2 : 1;
      const dense1D<double>& q = (*cell_values)[b];
      for (unsigned e = 0; e < m.conn[b].cols(); ++e)
        for (unsigned i = 0; i < twice; ++i) std::fprintf(f, "%.6g\n", q.size() ? q[e] : 0.0);
    }
  }
  if (std::ferror(f)) s = -1;
  if (std::fclose(f) != 0 && s == 0) s = -1;
  return s;
}

void write_mesh(const mesh& m, const output_file& out, file_format f, const write_options& o) {
  stage st("write");
  // Refuse, naming them, the kinds the format would lose.
  unsigned present = 0;
  for (std::size_t b = 0; b < m.conn.size(); ++b)
    if (m.conn[b].cols()) present |= bit(m.kind[b]);
  if (present & ~held_kinds(f)) {
    std::string lost, held;
    for (int k = 0; k < 21; ++k) {
      std::string* list = held_kinds(f) & bit(element_type(k)) ? &held : &lost;
      if (list == &held || present & bit(element_type(k)))
        *list += std::string(list->empty() ? "" : ", ") + kind_name(element_type(k));
    }
    const bool solids = f == file_format::stl || f == file_format::obj;
    cannot_write(out, f,
                 format("it cannot hold %s (it holds %s)%s", lost.c_str(), held.c_str(),
                        solids ? "; --boundary writes the boundary surface of solids" : ""));
  }
  int s = 0;
  const dense2D<double> no_values;
  switch (f) {
    case file_format::stl:
      s = STL_output(out.temp(), m.pos, only(m, ET_TRIA3, 3, true), o.ascii);
      if (s < 0) cannot_write(out, f, words_of(s, stl_out));
      break;
    case file_format::obj:
      s = WavefrontOBJ_output(out.temp(), m.pos, no_values, no_values, only(m, ET_TRIA3, 3, false),
                              only(m, ET_QUAD4, 4, false));
      if (s < 0) cannot_write(out, f, words_of(s, obj_out));
      break;
    case file_format::medit:
    case file_format::ensight: {
      const dense1D<int> flags = m.flags();
      const dense2D<unsigned>* first = m.conn.data();
      s = f == file_format::medit
              ? medit_output(out.temp(), m.pos, first, first + m.conn.size(), flags)
              : ensight_output(out.temp(), m.pos, first, first + m.conn.size(), flags);
      if (s < 0) cannot_write(out, f, words_of(s, view_out));
      break;
    }
    case file_format::vtk:
      s = write_vtk(m, out.temp(), nullptr);
      if (s < 0) cannot_write(out, f, words_of(s, view_out));
      break;
    case file_format::nastran:
    case file_format::femap:
      write_deck(m, out, f);
      break;
    default:
      cannot_write(out, f, "the library has no writer of this format");
  }
  st.done(format("%s (%s): %s", out.path().c_str(), format_name(f), mesh_words(m).c_str()));
}

}  // namespace cli
