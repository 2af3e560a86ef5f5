// MEDIT meshes and solutions, text and binary, as the remeshers and gmsh
// write them.
//
// A file is a series of keyword sections. The text form names them and gives
// a count of lines where the keyword has one; the binary form numbers them
// and puts before each one the position of the next, so that any section can
// be passed over whole. Binary files start with the code 1 in the writer's
// byte order and a version: 1 writes reals as floats, 2 on as doubles, 3 on
// positions in 64 bits, 4 integers and counts in 64 bits.
#include <cctype>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "formats/columns.h"
#include "formats/kind_collector.h"
#include "formats/scanner.h"
#include "qz4/tessellix/formats.h"

namespace qz4 {
namespace tessellix {

namespace {

enum keyword : int {
  kw_version = 1,
  kw_dimension = 3,
  kw_vertices = 4,
  kw_end = 54,
  kw_sol_at_vertices = 62,
  kw_unknown = -1,
  kw_none = -2,  // the file ends
  kw_bad = -3,   // the file is corrupt where a keyword should stand
};

// The element sections read, with their codes in binary files.
struct element_section {
  std::string_view name;
  int code;
  element_type kind;
};
constexpr element_section element_sections[] = {{"Edges", 5, ET_EDGE2},
                                                {"Triangles", 6, ET_TRIA3},
                                                {"Quadrilaterals", 7, ET_QUAD4},
                                                {"Tetrahedra", 8, ET_TETRA4},
                                                {"Prisms", 9, ET_PENTA6},
                                                {"Hexahedra", 10, ET_HEXA8},
                                                {"TrianglesP2", 24, ET_TRIA6},
                                                {"EdgesP2", 25, ET_EDGE3},
                                                {"QuadrilateralsQ2", 27, ET_QUAD9},
                                                {"TetrahedraP2", 30, ET_TETRA10},
                                                {"HexahedraQ2", 33, ET_HEXA27},
                                                {"Pyramids", 49, ET_PYRA5},
                                                {"PrismsP2", 86, ET_PENTA18},
                                                {"PyramidsP2", 87, ET_PYRA14}};

// gmsh writes second-order elements under the first-order keywords of the
// text form, so there the width of a section's first line tells the kind.
constexpr element_type families[][3] = {
    {ET_EDGE2, ET_EDGE3, ET_NONE},   {ET_TRIA3, ET_TRIA6, ET_NONE},
    {ET_QUAD4, ET_QUAD8, ET_QUAD9},  {ET_TETRA4, ET_TETRA10, ET_NONE},
    {ET_PYRA5, ET_PYRA14, ET_NONE},  {ET_PENTA6, ET_PENTA18, ET_NONE},
    {ET_HEXA8, ET_HEXA20, ET_HEXA27}};

element_type kind_of_width(element_type kind, unsigned width) {
  for (const auto& family : families)
    if (family[0] == kind)
      for (element_type k : family)
        if (k != ET_NONE && element_nodes[k] + 1 == width) return k;
  return kind;
}

const element_section* section_of(int code) {
  for (const element_section& s : element_sections)
    if (s.code == code) return &s;
  return nullptr;
}

// Keywords of the text form that are passed over by their declared layout:
// a count of lines (or one line when not `counted`) of `ints` integers and
// `reals` + `dims` x dimension reals. A keyword outside this table is passed
// over up to the next word, since only keywords start with a letter.
struct skipped_section {
  std::string_view name;
  bool counted;
  unsigned ints, reals, dims;
};
constexpr skipped_section skipped_sections[] = {
    {"Corners", true, 1, 0, 0},
    {"Ridges", true, 1, 0, 0},
    {"RequiredVertices", true, 1, 0, 0},
    {"RequiredEdges", true, 1, 0, 0},
    {"RequiredTriangles", true, 1, 0, 0},
    {"RequiredQuadrilaterals", true, 1, 0, 0},
    {"TangentAtEdgeVertices", true, 3, 0, 0},
    {"NormalAtVertices", true, 2, 0, 0},
    {"NormalAtTriangleVertices", true, 3, 0, 0},
    {"NormalAtQuadrilateralVertices", true, 4, 0, 0},
    {"TangentAtVertices", true, 2, 0, 0},
    {"Normals", true, 0, 0, 1},
    {"Tangents", true, 0, 0, 1},
    {"AngleOfCornerBound", false, 0, 1, 0},
    {"BoundingBox", false, 0, 0, 2},
    {"Iterations", false, 1, 0, 0},
    {"Time", false, 0, 1, 0},
};

// An index as the file numbers it (from 1) to one from 0; NO_ID for a number
// no vertex can have, which the final check of the indices refuses.
inline unsigned from_file(long long v) {
  const unsigned long long below = static_cast<unsigned long long>(v) - 1;  // wraps for v <= 0
  return below < 0xFFFFFFFFull ? unsigned(below) : NO_ID;
}

// Rows of a solution field of MEDIT type `type` (1 scalar, 2 vector, 3
// symmetric tensor) in dimension `dim`; 0 for any other type.
unsigned field_rows(long long type, unsigned dim) {
  return type == 1 ? 1 : type == 2 ? dim : type == 3 ? dim * (dim + 1) / 2 : 0;
}

// The sections' lines as the two forms store them. Each source reads a
// keyword, a count and runs of whole lines into the caller's arrays.
class text_source {
 public:
  explicit text_source(io::scanner& in) : in_(in) { in_.comments(true); }

  // The version keyword and its number.
  bool start() {
    std::string_view t;
    long long v;
    return in_.token(t) && t == "MeshVersionFormatted" && in_.integer(v);
  }
  int next_keyword() {
    std::string_view t;
    if (!in_.token(t)) return kw_none;
    skipped_ = nullptr;
    if (t == "Dimension") return kw_dimension;
    if (t == "Vertices") return kw_vertices;
    if (t == "End") return kw_end;
    if (t == "SolAtVertices") return kw_sol_at_vertices;
    if (t == "MeshVersionFormatted") return kw_version;
    for (const element_section& s : element_sections)
      if (t == s.name) return s.code;
    for (const skipped_section& s : skipped_sections)
      if (t == s.name) skipped_ = &s;
    return (t[0] | 0x20) >= 'a' && (t[0] | 0x20) <= 'z' ? kw_unknown : kw_bad;
  }
  bool dimension(unsigned& dim) {
    long long v;
    if (!in_.integer(v)) return false;
    dim = v >= 0 && v <= 3 ? unsigned(v) : 0;
    return true;
  }
  bool count(std::uint64_t& n) {
    long long v;
    if (!in_.integer(v) || v < 0) return false;
    n = std::uint64_t(v);
    return true;
  }
  // At least a digit and a blank per number.
  bool room(std::uint64_t lines, unsigned ints, unsigned reals) const {
    return lines * (ints + reals) * 2 <= in_.left() + 1;
  }
  element_type kind(element_type named, std::uint64_t lines) {
    return lines ? kind_of_width(named, in_.tokens_on_line()) : named;
  }
  bool field_types(long long* types, unsigned& n) {
    long long count;
    if (!in_.integer(count) || count < 1 || count > 64) return false;
    n = unsigned(count);
    for (unsigned i = 0; i < n; ++i)
      if (!in_.integer(types[i])) return false;
    return true;
  }
  bool vertices(std::uint64_t n, unsigned dim, double* pos, int* refs) {
    long long r;
    for (std::uint64_t i = 0; i < n; ++i, pos += dim) {
      for (unsigned k = 0; k < dim; ++k)
        if (!in_.real(pos[k])) return false;
      if (!in_.integer(r)) return false;
      refs[i] = int(r);
    }
    return true;
  }
  bool elements(std::uint64_t n, unsigned nodes, unsigned* conn, int* refs) {
    long long v;
    for (std::uint64_t i = 0; i < n; ++i) {
      for (unsigned k = 0; k < nodes; ++k, ++conn) {
        if (!in_.integer(v)) return false;
        *conn = from_file(v);
      }
      if (!in_.integer(v)) return false;
      refs[i] = int(v);
    }
    return true;
  }
  bool reals(std::uint64_t n, double* out) {
    for (std::uint64_t i = 0; i < n; ++i)
      if (!in_.real(out[i])) return false;
    return true;
  }
  // After a section that was read.
  bool close_section() { return true; }
  // Passes over the section whose keyword was just read.
  bool skip_section(unsigned dim) {
    if (skipped_) {
      std::uint64_t n = 1;
      if (skipped_->counted && !count(n)) return false;
      const std::uint64_t values = n * (skipped_->ints + skipped_->reals + skipped_->dims * dim);
      std::string_view t;
      for (std::uint64_t i = 0; i < values; ++i)
        if (!in_.token(t)) return false;
      return true;
    }
    // Up to the next word, which the next call reads as a keyword.
    for (;;) {
      std::size_t have;
      const unsigned char* p = in_.peek(1, have);
      std::string_view t;
      if (have == 0) return true;
      if (std::isalpha(*p) || *p == '#') {
        // A word or a comment: leave a word for the keyword reader.
        if (*p != '#') return true;
        if (!in_.skip_line()) return true;
        continue;
      }
      if (*p == ' ' || (*p >= '\t' && *p <= '\r')) {
        in_.advance(1);
        continue;
      }
      if (!in_.token(t)) return false;
    }
  }

 private:
  io::scanner& in_;
  const skipped_section* skipped_ = nullptr;
};

class binary_source {
 public:
  explicit binary_source(io::scanner& in) : in_(in) {}

  // The code 1 in either byte order and a version from 1 to 4.
  bool start() {
    unsigned char head[8] = {};
    if (!in_.bytes(head, 8)) return false;
    swap_ = io::load<std::uint32_t>(head, false) != 1;
    const std::uint32_t version = io::load<std::uint32_t>(head + 4, swap_);
    if (version < 1 || version > 4) return false;
    real_bytes_ = version == 1 ? 4 : 8;
    pos_bytes_ = version >= 3 ? 8 : 4;
    int_bytes_ = version == 4 ? 8 : 4;
    return true;
  }
  int next_keyword() {
    // A keyword passed over whole continues where its successor stands.
    if (next_ && !in_.seek(next_)) return kw_bad;
    const std::uint64_t at = in_.tell();
    unsigned char head[12];
    if (in_.left() == 0) return kw_none;
    if (!in_.bytes(head, 4 + pos_bytes_)) return kw_bad;
    const int code = int(io::load<std::uint32_t>(head, swap_));
    next_ = pos_bytes_ == 8 ? io::load<std::uint64_t>(head + 4, swap_)
                            : io::load<std::uint32_t>(head + 4, swap_);
    // Positions only go forward, so a file cannot send the reader round.
    if (next_ != 0 && (next_ <= at || next_ > in_.size())) return kw_bad;
    return code;
  }
  bool dimension(unsigned& dim) {
    unsigned char b[4];
    if (!in_.bytes(b, 4)) return false;
    const std::uint32_t v = io::load<std::uint32_t>(b, swap_);
    dim = v <= 3 ? v : 0;
    return true;
  }
  bool count(std::uint64_t& n) {
    unsigned char b[8];
    if (!in_.bytes(b, int_bytes_)) return false;
    const long long v = integer(b);
    if (v < 0) return false;
    n = std::uint64_t(v);
    return true;
  }
  element_type kind(element_type named, std::uint64_t) const { return named; }
  bool room(std::uint64_t lines, unsigned ints, unsigned reals) const {
    const std::uint64_t line =
        std::uint64_t(ints) * int_bytes_ + std::uint64_t(reals) * real_bytes_;
    return line == 0 || lines <= in_.left() / line;
  }
  bool field_types(long long* types, unsigned& n) {
    unsigned char b[4];
    if (!in_.bytes(b, 4)) return false;
    const std::uint32_t count = io::load<std::uint32_t>(b, swap_);
    if (count < 1 || count > 64) return false;
    n = count;
    for (unsigned i = 0; i < n; ++i) {
      if (!in_.bytes(b, 4)) return false;
      types[i] = io::load<std::int32_t>(b, swap_);
    }
    return true;
  }
  bool vertices(std::uint64_t n, unsigned dim, double* pos, int* refs) {
    const std::size_t line = std::size_t(dim) * real_bytes_ + int_bytes_;
    return with_words([&](auto w) {
      using W = decltype(w);
      return lines(n, line, [&](const unsigned char* p, std::uint64_t i) {
        for (unsigned k = 0; k < dim; ++k, p += sizeof(typename W::real))
          pos[i * dim + k] = W::get_real(p);
        refs[i] = int(W::get_integer(p));
      });
    });
  }
  bool elements(std::uint64_t n, unsigned nodes, unsigned* conn, int* refs) {
    const std::size_t line = std::size_t(nodes + 1) * int_bytes_;
    return with_words([&](auto w) {
      using W = decltype(w);
      return lines(n, line, [&](const unsigned char* p, std::uint64_t i) {
        unsigned* c = conn + i * nodes;
        for (unsigned k = 0; k < nodes; ++k, p += sizeof(typename W::integer))
          c[k] = from_file(W::get_integer(p));
        refs[i] = int(W::get_integer(p));
      });
    });
  }
  bool reals(std::uint64_t n, double* out) {
    return with_words([&](auto w) {
      using W = decltype(w);
      return lines(n, real_bytes_,
                   [&](const unsigned char* p, std::uint64_t i) { out[i] = W::get_real(p); });
    });
  }
  // A section read through continues where the file says its successor
  // stands, which must not lie inside what was read.
  bool close_section() {
    if (next_ && next_ < in_.tell()) return false;
    if (!next_) next_ = in_.tell();
    return true;
  }
  bool skip_section(unsigned) { return next_ != 0; }

 private:
  // The words of one of the file's layouts, fixed at compile time so that
  // the decoding loops test nothing per word.
  template <class Integer, class Real, bool Swap>
  struct words {
    using integer = Integer;
    using real = Real;
    static long long get_integer(const unsigned char* p) { return io::load<Integer>(p, Swap); }
    static double get_real(const unsigned char* p) { return io::load<Real>(p, Swap); }
  };
  template <class F>
  bool with_words(F f) const {
    if (int_bytes_ == 8)
      return swap_ ? f(words<std::int64_t, double, true>())
                   : f(words<std::int64_t, double, false>());
    if (real_bytes_ == 4)
      return swap_ ? f(words<std::int32_t, float, true>()) : f(words<std::int32_t, float, false>());
    return swap_ ? f(words<std::int32_t, double, true>()) : f(words<std::int32_t, double, false>());
  }
  long long integer(const unsigned char* p) const {
    return int_bytes_ == 8 ? io::load<std::int64_t>(p, swap_) : io::load<std::int32_t>(p, swap_);
  }
  // Hands whole lines of `line` bytes, as many as the buffer holds at a
  // time, to `each(bytes, line number)`.
  template <class Each>
  bool lines(std::uint64_t n, std::size_t line, Each each) {
    std::uint64_t i = 0;
    while (i < n) {
      std::size_t have;
      const std::uint64_t want64 = (n - i) * line;
      const std::size_t want = want64 < (std::size_t(1) << 20) ? std::size_t(want64) : (1u << 20);
      const unsigned char* p = in_.peek(want < line ? line : want, have);
      std::uint64_t whole = have / line;
      if (whole == 0) return false;
      if (whole > n - i) whole = n - i;
      for (std::uint64_t k = 0; k < whole; ++k, ++i, p += line) each(p, i);
      in_.advance(std::size_t(whole * line));
    }
    return true;
  }

  io::scanner& in_;
  bool swap_ = false;
  unsigned real_bytes_ = 8, pos_bytes_ = 4, int_bytes_ = 4;
  std::uint64_t next_ = 0;
};

// What a mesh file holds, gathered before it is handed over.
struct mesh_parts {
  dense2D<double> pos;
  dense1D<int> node_refs;
  io::kind_collector elements;
};

template <class Source>
int read_mesh(Source& src, mesh_parts& m) {
  unsigned dim = 0;
  bool vertices = false;
  for (;;) {
    const int kw = src.next_keyword();
    if (kw == kw_end) return 0;
    if (kw == kw_none || kw == kw_bad) return -3;  // "End" is missing
    if (kw == kw_dimension) {
      if (!src.dimension(dim)) return -3;
      if (dim != 2 && dim != 3) return -2;
    } else if (kw == kw_vertices) {
      if (dim == 0) return -2;
      std::uint64_t n;
      if (vertices || !src.count(n) || !src.room(n, 1, dim) || n > 0xFFFFFFFFu) return -3;
      vertices = true;
      if (!m.pos.resize(dim, unsigned(n)) || !m.node_refs.resize(unsigned(n))) return -199;
      if (!src.vertices(n, dim, m.pos.data(), m.node_refs.data())) return -3;
    } else if (const element_section* s = section_of(kw)) {
      std::uint64_t n;
      if (!src.count(n)) return -3;
      const element_type kind = src.kind(s->kind, n);
      const unsigned nodes = element_nodes[kind];
      if (!src.room(n, nodes + 1, 0) || n > 0xFFFFFFFFu) return -3;
      if (n == 0) {
        if (!src.close_section()) return -3;
        continue;
      }
      io::kind_collector::slot* slot = m.elements.of(kind);
      if (!slot) return -199;
      unsigned* conn = slot->conn.take(unsigned(n));
      int* refs = slot->refs.take(unsigned(n));
      if (!conn || !refs) return -199;
      if (!src.elements(n, nodes, conn, refs)) return -3;
    } else {
      if (!src.skip_section(dim)) return -3;
      continue;
    }
    if (!src.close_section()) return -3;
  }
}

// Fields of the first "SolAtVertices" section; the vertex count or a status.
template <class Source>
int read_solution(Source& src, dense1D<dense2D<double>>& fields, dense1D<int>& kinds) {
  unsigned dim = 0;
  bool found = false;
  std::uint64_t vertices = 0;
  for (;;) {
    const int kw = src.next_keyword();
    if (kw == kw_end) break;
    if (kw == kw_none || kw == kw_bad) return -3;
    if (kw == kw_dimension) {
      if (!src.dimension(dim)) return -3;
      if (dim != 2 && dim != 3) return -2;
    } else if (kw == kw_sol_at_vertices && !found) {
      if (dim == 0) return -2;
      long long types[64];
      unsigned count = 0, width = 0;
      std::uint64_t n;
      if (!src.count(n) || !src.field_types(types, count)) return -3;
      for (unsigned f = 0; f < count; ++f) {
        const unsigned rows = field_rows(types[f], dim);
        if (rows == 0) return -2;
        width += rows;
      }
      if (!src.room(n, 0, width) || n > 0x7FFFFFFFu) return -3;
      found = true;
      vertices = n;
      if (!fields.resize(count) || !kinds.resize(count)) return -199;
      for (unsigned f = 0; f < count; ++f) {
        kinds[f] = int(types[f]);
        if (!fields[f].resize(field_rows(types[f], dim), unsigned(n))) return -199;
      }
      // One line of every field at a time, read and dealt out.
      double line[64 * 6];
      for (std::uint64_t v = 0; v < n; ++v) {
        if (!src.reals(width, line)) return -3;
        const double* p = line;
        for (unsigned f = 0; f < count; ++f) {
          double* out = fields[f].data() + std::size_t(v) * fields[f].rows();
          const unsigned rows = fields[f].rows();
          if (kinds[f] == 3 && rows == 6) {
            // (m11, m12, m13, m22, m23, m33) to the packed order.
            const double t[6] = {p[0], p[1], p[3], p[2], p[4], p[5]};
            std::memcpy(out, t, sizeof t);
          } else {
            std::memcpy(out, p, rows * sizeof(double));
          }
          p += rows;
        }
      }
    } else {
      if (!src.skip_section(dim)) return -3;
      continue;
    }
    if (!src.close_section()) return -3;
  }
  if (!found) return -2;
  return int(vertices);
}

// The form medit_scalar, medit_vector and medit_tensor write: "dim rows
// count 2", then the values, column after column, in the packed order.
int read_header_solution(io::scanner& in, dense1D<dense2D<double>>& fields, dense1D<int>& kinds) {
  long long dim, rows, count, where;
  if (!in.integer(dim) || !in.integer(rows) || !in.integer(count) || !in.integer(where)) return -2;
  if (dim < 1 || dim > 3 || rows < 1 || rows > 64 || count < 0 || where != 2) return -2;
  const unsigned d = unsigned(dim), r = unsigned(rows);
  if (std::uint64_t(count) * r * 2 > in.left() + 1 || count > 0x7FFFFFFF) return -3;
  if (!fields.resize(1) || !kinds.resize(1)) return -199;
  kinds[0] = r == 1 ? 1 : (d >= 2 && r == d * (d + 1) / 2) ? 3 : 2;
  if (!fields[0].resize(r, unsigned(count))) return -199;
  double* out = fields[0].data();
  for (std::uint64_t i = 0; i < std::uint64_t(count) * r; ++i)
    if (!in.real(out[i])) return -3;
  return int(count);
}

// Opens the file and tells its form: 1 binary, 0 text, or a status.
int open_form(const char* filename, std::FILE*& f) {
  f = std::fopen(filename, "rb");
  if (!f) return -1;
  unsigned char head[4] = {};
  const std::size_t got = std::fread(head, 1, 4, f);
  std::rewind(f);
  const std::uint32_t code = io::load<std::uint32_t>(head, false);
  return got == 4 && (code == 1 || code == 0x01000000u) ? 1 : 0;
}

}  // namespace

int medit_input(const char* filename, dense2D<double>& pos, dense1D<int>& node_references,
                dense1D<dense2D<unsigned>>& connectivities, dense1D<int>& kinds,
                dense1D<dense1D<int>>& references) {
  pos.clear();
  node_references.clear();
  connectivities.clear();
  kinds.clear();
  references.clear();
  std::FILE* f;
  const int form = open_form(filename, f);
  if (form < 0) return form;
  int status;
  mesh_parts m;
  {
    io::scanner in(f);
    if (form == 1) {
      binary_source src(in);
      status = src.start() ? read_mesh(src, m) : -2;
    } else {
      text_source src(in);
      status = src.start() ? read_mesh(src, m) : -2;
    }
  }
  std::fclose(f);
  if (status == 0 && !m.elements.indices_below(m.pos.cols())) status = -4;
  if (status == 0) {
    pos = m.pos;
    node_references = m.node_refs;
    if (!m.elements.finish(connectivities, kinds, &references)) status = -199;
  }
  if (status != 0) {
    pos.clear();
    node_references.clear();
    connectivities.clear();
    kinds.clear();
    references.clear();
  }
  return status;
}

int medit_input(const char* filename, dense2D<double>& pos,
                dense1D<dense2D<unsigned>>& connectivities, dense1D<int>& kinds) {
  dense1D<int> node_references;
  dense1D<dense1D<int>> references;
  return medit_input(filename, pos, node_references, connectivities, kinds, references);
}

int medit_solution_input(const char* filename, dense1D<dense2D<double>>& fields,
                         dense1D<int>& field_kinds) {
  fields.clear();
  field_kinds.clear();
  std::FILE* f;
  const int form = open_form(filename, f);
  if (form < 0) return form;
  int status;
  {
    io::scanner in(f);
    if (form == 1) {
      binary_source src(in);
      status = src.start() ? read_solution(src, fields, field_kinds) : -2;
    } else {
      in.comments(true);
      std::size_t have;
      const unsigned char* p = in.peek(64, have);
      std::size_t i = 0;
      while (i < have && (p[i] == ' ' || (p[i] >= '\t' && p[i] <= '\r'))) ++i;
      if (i < have && std::isalpha(p[i])) {
        text_source src(in);
        status = src.start() ? read_solution(src, fields, field_kinds) : -2;
      } else {
        status = read_header_solution(in, fields, field_kinds);
      }
    }
  }
  std::fclose(f);
  if (status < 0) {
    fields.clear();
    field_kinds.clear();
  }
  return status;
}

}  // namespace tessellix
}  // namespace qz4
