// Legacy VTK files, ASCII and binary, as viewers and solvers save them.
//
// After three header lines (version, title, "ASCII" or "BINARY") a dataset
// is a series of sections, each a keyword line with its counts, then its
// values: as text, or as big-endian binary right after the keyword line.
// Cells come as one list of "count, points" per cell (versions up to 5.0)
// or as an offset list and a connectivity list (5.1); an unstructured grid
// gives their types in a list of its own, polygonal data by section.
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <utility>

#include "formats/kind_collector.h"
#include "formats/scanner.h"
#include "qz4/tessellix/formats.h"

namespace qz4 {
namespace tessellix {

namespace {

bool same(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if ((a[i] | 0x20) != (b[i] | 0x20)) return false;
  return true;
}

// The data types of the format with their size in a binary file.
struct data_type {
  std::string_view name;
  unsigned bytes;
  bool real, is_signed;
};
constexpr data_type data_types[] = {{"unsigned_char", 1, false, false},
                                    {"char", 1, false, true},
                                    {"unsigned_short", 2, false, false},
                                    {"short", 2, false, true},
                                    {"unsigned_int", 4, false, false},
                                    {"int", 4, false, true},
                                    {"unsigned_long", 8, false, false},
                                    {"long", 8, false, true},
                                    {"float", 4, true, true},
                                    {"double", 8, true, true},
                                    {"vtkIdType", 4, false, true},
                                    {"vtktypeint8", 1, false, true},
                                    {"vtktypeuint8", 1, false, false},
                                    {"vtktypeint16", 2, false, true},
                                    {"vtktypeuint16", 2, false, false},
                                    {"vtktypeint32", 4, false, true},
                                    {"vtktypeuint32", 4, false, false},
                                    {"vtktypeint64", 8, false, true},
                                    {"vtktypeuint64", 8, false, false},
                                    {"vtktypefloat32", 4, true, true},
                                    {"vtktypefloat64", 8, true, true}};

const data_type* type_named(std::string_view name) {
  for (const data_type& t : data_types)
    if (same(name, t.name)) return &t;
  return nullptr;
}

// A cell type of the format and the kind it becomes: `nodes` points, taken
// in the order of `order` (the identity when null). Tetrahedra turn the
// other way round in this library, hence their exchanged corners (and, for
// the quadratic one, the mid-edge nodes that go with them); pixels and
// voxels number their corners row by row.
struct cell_kind {
  int vtk;
  element_type kind;
  unsigned nodes;
  const unsigned char* order;
};
constexpr unsigned char tetra_order[] = {0, 1, 3, 2};
constexpr unsigned char pixel_order[] = {0, 1, 3, 2};
constexpr unsigned char voxel_order[] = {0, 1, 3, 2, 4, 5, 7, 6};
constexpr unsigned char tetra10_order[] = {0, 1, 3, 2, 4, 8, 7, 6, 5, 9};
constexpr cell_kind cell_kinds[] = {
    {1, ET_NODE, 1, nullptr},       {3, ET_EDGE2, 2, nullptr},
    {5, ET_TRIA3, 3, nullptr},      {7, ET_TRIA3, 3, nullptr},
    {7, ET_QUAD4, 4, nullptr},      {8, ET_QUAD4, 4, pixel_order},
    {9, ET_QUAD4, 4, nullptr},      {10, ET_TETRA4, 4, tetra_order},
    {11, ET_HEXA8, 8, voxel_order}, {12, ET_HEXA8, 8, nullptr},
    {13, ET_PENTA6, 6, nullptr},    {14, ET_PYRA5, 5, nullptr},
    {21, ET_EDGE3, 3, nullptr},     {22, ET_TRIA6, 6, nullptr},
    {23, ET_QUAD8, 8, nullptr},     {24, ET_TETRA10, 10, tetra10_order},
    {25, ET_HEXA20, 20, nullptr},   {28, ET_QUAD9, 9, nullptr},
    {29, ET_HEXA27, 27, nullptr},   {32, ET_PENTA18, 18, nullptr}};

const cell_kind* kind_of(long long vtk, unsigned nodes) {
  for (const cell_kind& c : cell_kinds)
    if (c.vtk == vtk && c.nodes == nodes) return &c;
  return nullptr;
}

// Kept out of line: inlined, the release of the empty block inside resize
// makes GCC warn of a use after free that cannot happen.
__attribute__((noinline)) bool sized(dense2D<double>& pos, unsigned n) { return pos.resize(3, n); }

// Cells as read: cell c has the points ids[offsets[c]] to ids[offsets[c + 1]].
// When every cell has the same number of points, `ids` has that many rows
// and one column per cell, the layout of a connectivity, and `uniform` is
// set; otherwise it is one row.
struct cell_list {
  dense1D<unsigned> offsets;
  dense2D<unsigned> ids;
  bool uniform = false;
  unsigned cells() const { return offsets.empty() ? 0 : offsets.size() - 1; }
  // Room for `total` point numbers of `cells` cells, shaped as uniform cells
  // would fill it.
  bool size(std::uint64_t cells, std::uint64_t total) {
    const unsigned rows =
        cells && total % cells == 0 && total / cells > 0 ? unsigned(total / cells) : 1;
    uniform = rows > 1 || total == cells;
    return offsets.resize(unsigned(cells) + 1) && ids.resize(rows, unsigned(total / rows));
  }
};

class reader {
 public:
  explicit reader(io::scanner& in) : in_(in) {}

  int run(dense2D<double>& pos, io::kind_collector& out, unsigned& skipped) {
    int status = header();
    if (status != 0) return status;
    cell_list cells;
    bool have_cells = false;
    std::string_view t;
    while (in_.token(t)) {
      if (same(t, "POINTS")) {
        status = points(pos);
      } else if (same(t, "CELLS")) {
        status = polydata_ ? -3 : cell_section(cells);
        have_cells = true;
      } else if (same(t, "CELL_TYPES")) {
        status = have_cells && !polydata_ ? cell_types(cells, out, skipped) : -3;
      } else if (polydata_ && (same(t, "VERTICES") || same(t, "LINES") || same(t, "POLYGONS") ||
                               same(t, "TRIANGLE_STRIPS"))) {
        const int vtk = same(t, "VERTICES")   ? 1
                        : same(t, "LINES")    ? 3
                        : same(t, "POLYGONS") ? 7
                                              : 6;
        status = cell_section(cells);
        if (status == 0) status = polygons(cells, vtk, out, skipped);
      } else if (same(t, "FIELD")) {
        status = field();
      } else if (same(t, "METADATA")) {
        status = metadata();
      } else if (same(t, "POINT_DATA") || same(t, "CELL_DATA")) {
        break;  // values at points and cells are not read
      } else {
        status = -3;
      }
      if (status != 0) return status;
    }
    if (have_cells && !typed_) return -3;  // cells without their types
    return 0;
  }

 private:
  int header() {
    std::string_view t;
    const char* words[] = {"#", "vtk", "DataFile", "Version"};
    for (const char* w : words)
      if (!in_.token(t) || !same(t, w)) return -2;
    if (!in_.token(t)) return -2;
    const unsigned major = t.empty() ? 0 : unsigned(t[0] - '0');
    const unsigned minor = t.size() >= 3 && t[1] == '.' ? unsigned(t[2] - '0') : 0;
    new_cells_ = major > 5 || (major == 5 && minor >= 1);
    if (!in_.skip_line() || !in_.skip_line()) return -2;  // the rest of it, and the title
    if (!in_.token(t)) return -2;
    if (same(t, "BINARY"))
      binary_ = true;
    else if (!same(t, "ASCII"))
      return -2;
    if (!in_.token(t) || !same(t, "DATASET") || !in_.token(t)) return -2;
    if (same(t, "POLYDATA"))
      polydata_ = true;
    else if (!same(t, "UNSTRUCTURED_GRID"))
      return -2;
    return 0;
  }

  bool count(std::uint64_t& n) {
    long long v;
    if (!in_.integer(v) || v < 0) return false;
    n = std::uint64_t(v);
    return true;
  }
  // The values of a section follow its keyword line in a binary file.
  bool data_start() { return !binary_ || in_.skip_line(); }
  bool room(std::uint64_t values, const data_type& t) const {
    const std::uint64_t each = binary_ ? t.bytes : 2;
    return values <= (in_.left() + (binary_ ? 0 : 1)) / each;
  }

  // `n` values of type `t` to each(index, value) as reals or as integers.
  template <class T, class Each>
  bool values(std::uint64_t n, const data_type& t, Each each) {
    if (!binary_) {
      for (std::uint64_t i = 0; i < n; ++i) {
        T v;
        if constexpr (std::is_floating_point<T>::value) {
          if (!in_.real(v)) return false;
        } else {
          long long w;
          if (!in_.integer(w)) return false;
          v = w;
        }
        each(i, v);
      }
      return true;
    }
    switch (t.bytes * 4 + (t.real ? 2 : 0) + (t.is_signed ? 1 : 0)) {
      case 4:
        return binary_values<T, std::uint8_t>(n, each);
      case 5:
        return binary_values<T, std::int8_t>(n, each);
      case 8:
        return binary_values<T, std::uint16_t>(n, each);
      case 9:
        return binary_values<T, std::int16_t>(n, each);
      case 16:
        return binary_values<T, std::uint32_t>(n, each);
      case 17:
        return binary_values<T, std::int32_t>(n, each);
      case 19:
        return binary_values<T, float>(n, each);
      case 32:
        return binary_values<T, std::uint64_t>(n, each);
      case 33:
        return binary_values<T, std::int64_t>(n, each);
      default:
        return binary_values<T, double>(n, each);
    }
  }
  // Big-endian values of type F, as T: as many at a time as the buffer holds.
  template <class T, class F, class Each>
  bool binary_values(std::uint64_t n, Each each) {
    std::uint64_t i = 0;
    while (i < n) {
      std::size_t have;
      const std::uint64_t want = (n - i) * sizeof(F);
      const unsigned char* p = in_.peek(want < (1u << 20) ? std::size_t(want) : (1u << 20), have);
      std::uint64_t whole = have / sizeof(F);
      if (whole == 0) return false;
      if (whole > n - i) whole = n - i;
      for (std::uint64_t k = 0; k < whole; ++k, ++i, p += sizeof(F))
        each(i, as<T>(io::load<F>(p, true)));
      in_.advance(std::size_t(whole * sizeof(F)));
    }
    return true;
  }
  // No point has a number of 63 bits or more: such values stay out of range.
  template <class T, class F>
  static T as(F v) {
    if constexpr (std::is_same<F, std::uint64_t>::value && !std::is_floating_point<T>::value)
      return T(v >> 1 > 0x7FFFFFFF ? 0x7FFFFFFFFFFFFFFFll : (long long)v);
    else
      return T(v);
  }

  int points(dense2D<double>& pos) {
    std::uint64_t n;
    std::string_view t;
    if (!pos.empty() || !count(n) || !in_.token(t)) return -3;
    const data_type* type = type_named(t);
    if (!type || n > 0xFFFFFFFFu / 3 || !room(3 * n, *type) || !data_start()) return -3;
    if (!sized(pos, unsigned(n))) return -199;
    double* p = pos.data();
    return values<double>(3 * n, *type, [p](std::uint64_t i, double v) { p[i] = v; }) ? 0 : -3;
  }

  // A point number to an index, NO_ID for one no point has; the largest,
  // kept in `top`, is compared with the points at the end, once every point
  // is known.
  static unsigned note(long long v, unsigned& top) {
    const unsigned id = v >= 0 && v < 0xFFFFFFFFll ? unsigned(v) : NO_ID;
    top = id > top ? id : top;
    return id;
  }

 public:
  /// True when every point number of a cell names a point of `points`.
  bool indices_below(unsigned points) const { return !any_ || largest_ < points; }

 private:
  // "n size" and the list of count-and-points, or 5.1's "offsets size" and
  // its two lists.
  int cell_section(cell_list& cells) {
    unsigned top = largest_;
    const int status = cell_lists(cells, top);
    largest_ = top;
    any_ = any_ || !cells.ids.empty();
    return status;
  }
  int cell_lists(cell_list& cells, unsigned& top) {
    std::uint64_t a, b;
    if (!count(a) || !count(b)) return -3;
    if (!new_cells_) {
      const data_type& int32 = data_types[5];
      if (!room(b, int32) || a > b || b > 0xFFFFFFFFu || !data_start()) return -3;
      if (!cells.size(a, b - a)) return -199;
      unsigned* off = cells.offsets.data();
      unsigned* ids = cells.ids.data();
      std::uint64_t written = 0;
      off[0] = 0;
      for (std::uint64_t cell = 0; cell < a; ++cell) {
        // A count, then its points: the cell must leave room for the counts
        // still to come.
        long long v;
        unsigned* to = ids + written;
        std::size_t have = 0;
        const unsigned char* p = binary_ ? in_.peek(64, have) : nullptr;
        if (binary_) {
          if (have < 4) return -3;
          v = io::load<std::int32_t>(p, true);
        } else if (!in_.integer(v)) {
          return -3;
        }
        if (v < 0 || std::uint64_t(v) > b - a - written) return -3;
        if (binary_ && have >= 4 + 4 * std::uint64_t(v)) {
          // The whole cell in view, as nearly always.
          unsigned t = top;  // a local, which the stores through `to` cannot touch
          for (long long i = 0; i < v; ++i)
            to[i] = note(io::load<std::int32_t>(p + 4 + 4 * i, true), t);
          top = t;
          in_.advance(std::size_t(4 + 4 * v));
        } else {
          if (binary_) in_.advance(4);
          if (!values<long long>(std::uint64_t(v), int32,
                                 [&](std::uint64_t i, long long id) { to[i] = note(id, top); }))
            return -3;
        }
        written += std::uint64_t(v);
        off[cell + 1] = unsigned(written);
      }
      return written == b - a ? 0 : -3;
    }
    // 5.1: a offsets (cells + 1), b point numbers.
    std::string_view t;
    // At least a byte per number (a digit and a blank in text) before
    // anything is allocated for them.
    if (a == 0 || a > 0xFFFFFFFFu || b > 0xFFFFFFFFu ||
        (a + b) * (binary_ ? 1 : 2) > in_.left() + 1)
      return -3;
    if (!cells.size(a - 1, b)) return -199;
    unsigned* off = cells.offsets.data();
    unsigned* ids = cells.ids.data();
    if (!in_.token(t) || !same(t, "OFFSETS") || !in_.token(t)) return -3;
    const data_type* type = type_named(t);
    bool ok = true;
    if (!type || type->real || !room(a, *type) || !data_start() ||
        !values<long long>(a, *type,
                           [&](std::uint64_t i, long long v) {
                             // Offsets rise from 0 to the size of the connectivity.
                             ok = ok && v >= (i ? (long long)off[i - 1] : 0) && v <= (long long)b &&
                                  (i || v == 0);
                             off[i] = ok ? unsigned(v) : 0;
                           }) ||
        !ok || off[a - 1] != b)
      return -3;
    if (!in_.token(t) || !same(t, "CONNECTIVITY") || !in_.token(t)) return -3;
    type = type_named(t);
    if (!type || type->real || !room(b, *type) || !data_start() ||
        !values<long long>(b, *type, [&](std::uint64_t i, long long v) { ids[i] = note(v, top); }))
      return -3;
    return 0;
  }

  // The entry of cell_kinds that cell c becomes, `none` when it is skipped.
  static constexpr unsigned char none = 0xFF;
  unsigned char which(const cell_list& cells, unsigned c, long long vtk) {
    const unsigned n = cells.offsets[c + 1] - cells.offsets[c];
    if (vtk != last_vtk_ || n != last_nodes_) {
      const cell_kind* k = kind_of(vtk, n);
      last_which_ = k ? (unsigned char)(k - cell_kinds) : none;
      last_vtk_ = vtk;
      last_nodes_ = n;
    }
    return last_which_;
  }

  // True when every cell is of the first one's entry and as long as a row
  // count of the lists says.
  static bool same_cells(const cell_list& cells, const unsigned char* which) {
    const unsigned* off = cells.offsets.data();
    const unsigned rows = cells.ids.rows();
    for (unsigned c = 0; c < cells.cells(); ++c)
      if (which[c] != which[0] || off[c + 1] != (c + 1) * rows) return false;
    return true;
  }

  // Deals the cells out to their kinds, each kind's room taken in one step.
  int place(cell_list& cells, const unsigned char* which, io::kind_collector& out,
            unsigned& skipped) {
    const unsigned n = cells.cells();
    if (n && cells.uniform && which[0] != none && cells.ids.rows() == cell_kinds[which[0]].nodes &&
        !out.has(cell_kinds[which[0]].kind) && same_cells(cells, which)) {
      // Cells of one kind, their lists already a connectivity: put in order
      // where they stand and handed over.
      const cell_kind& k = cell_kinds[which[0]];
      if (k.order) {
        // Every order of the table is its own inverse: a few exchanges.
        unsigned first[8], second[8], pairs = 0;
        for (unsigned i = 0; i < k.nodes; ++i)
          if (k.order[i] > i) first[pairs] = i, second[pairs++] = k.order[i];
        unsigned* c = cells.ids.data();
        for (unsigned e = 0; e < n; ++e, c += k.nodes)
          for (unsigned p = 0; p < pairs; ++p) std::swap(c[first[p]], c[second[p]]);
      }
      const bool adopted = out.adopt(k.kind, cells.ids);
      cells.ids = dense2D<unsigned>();  // the lists now belong to the connectivity
      return adopted ? 0 : -199;
    }
    unsigned count[21] = {};
    for (unsigned c = 0; c < n; ++c)
      which[c] == none ? ++skipped : ++count[cell_kinds[which[c]].kind];
    unsigned* next[21] = {};
    for (unsigned c = 0; c < n; ++c) {
      if (which[c] == none) continue;
      const element_type kind = cell_kinds[which[c]].kind;
      if (!next[kind]) {  // the kinds are made in the order of their first cells
        io::kind_collector::slot* s = out.of(kind);
        next[kind] = s ? s->conn.take(count[kind]) : nullptr;
        if (!next[kind]) return -199;
      }
    }
    const unsigned* off = cells.offsets.data();
    const unsigned* ids = cells.ids.data();
    for (unsigned c = 0; c < n; ++c) {
      if (which[c] == none) continue;
      const cell_kind& k = cell_kinds[which[c]];
      const unsigned* from = ids + off[c];
      unsigned*& to = next[k.kind];
      if (k.order)
        for (unsigned i = 0; i < k.nodes; ++i) to[i] = from[k.order[i]];
      else
        std::memcpy(to, from, k.nodes * sizeof(unsigned));
      to += k.nodes;
    }
    return 0;
  }

  int cell_types(cell_list& cells, io::kind_collector& out, unsigned& skipped) {
    std::uint64_t n;
    const data_type& int32 = data_types[5];
    if (typed_ || !count(n) || n != cells.cells() || !room(n, int32) || !data_start()) return -3;
    typed_ = true;
    dense1D<unsigned char> kinds;
    if (!kinds.resize(unsigned(n))) return -199;
    unsigned char* k = kinds.data();
    if (!values<long long>(n, int32, [&](std::uint64_t c, long long vtk) {
          k[c] = which(cells, unsigned(c), vtk);
        }))
      return -3;
    return place(cells, k, out, skipped);
  }

  // A section of polygonal data: every cell of the type the section implies
  // (points of one vertex, lines of two, polygons of three or four).
  int polygons(cell_list& cells, int vtk, io::kind_collector& out, unsigned& skipped) {
    dense1D<unsigned char> kinds;
    if (!kinds.resize(cells.cells())) return -199;
    for (unsigned c = 0; c < cells.cells(); ++c) kinds[c] = which(cells, c, vtk);
    return place(cells, kinds.data(), out, skipped);
  }

  // "FIELD name arrays", each array "name components tuples type" and its
  // values, passed over.
  int field() {
    std::string_view t;
    std::uint64_t arrays;
    if (!in_.token(t) || !count(arrays)) return -3;
    for (std::uint64_t a = 0; a < arrays; ++a) {
      std::uint64_t components, tuples;
      if (!in_.token(t)) return -3;
      if (same(t, "METADATA")) {
        if (metadata() != 0) return -3;
        --a;
        continue;
      }
      if (!count(components) || !count(tuples) || !in_.token(t)) return -3;
      const data_type* type = type_named(t);
      if (!type || (components && tuples > ~std::uint64_t(0) / components)) return -3;
      const std::uint64_t n = components * tuples;
      if (!room(n, *type) || !data_start()) return -3;
      if (binary_) {
        if (!in_.seek(in_.tell() + n * type->bytes)) return -3;
      } else if (!values<double>(n, *type, [](std::uint64_t, double) {})) {
        return -3;
      }
    }
    return 0;
  }

  // Lines of names and information up to an empty line.
  int metadata() {
    if (!in_.skip_line()) return -3;
    for (;;) {
      std::size_t have;
      const unsigned char* p = in_.peek(2, have);
      std::size_t i = 0;
      while (i < have && (p[i] == ' ' || p[i] == '\t' || p[i] == '\r')) ++i;
      if (i == have || p[i] == '\n') return in_.skip_line() || i == have ? 0 : -3;
      if (!in_.skip_line()) return 0;
    }
  }

  io::scanner& in_;
  bool binary_ = false, polydata_ = false, new_cells_ = false, typed_ = false;
  // The kind of the cell type met last, since cells mostly come in runs.
  long long last_vtk_ = -1;
  unsigned last_nodes_ = 0;
  unsigned char last_which_ = none;
  unsigned largest_ = 0;
  bool any_ = false;
};

}  // namespace

int vtk_input(const char* filename, dense2D<double>& pos,
              dense1D<dense2D<unsigned>>& connectivities, dense1D<int>& kinds, unsigned& skipped) {
  pos.clear();
  connectivities.clear();
  kinds.clear();
  skipped = 0;
  std::FILE* f = std::fopen(filename, "rb");
  if (!f) return -1;
  io::kind_collector elements;
  dense2D<double> points;
  int status;
  {
    io::scanner in(f);
    reader r(in);
    status = r.run(points, elements, skipped);
    if (status == 0 && !r.indices_below(points.cols())) status = -4;
  }
  std::fclose(f);
  if (status == 0) {
    pos = points;
    if (!elements.finish(connectivities, kinds, nullptr)) status = -199;
  }
  if (status != 0) {
    pos.clear();
    connectivities.clear();
    kinds.clear();
    skipped = 0;
  }
  return status;
}

}  // namespace tessellix
}  // namespace qz4
