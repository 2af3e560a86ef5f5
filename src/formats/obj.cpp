// Wavefront OBJ surfaces of triangles and quadrangles, with vertex normals
// and texture coordinates as plain per-node lists. Only "v", "vn", "vt" and
// "f" mean something; every other statement is passed over.
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "formats/columns.h"
#include "formats/text_io.h"
#include "qz4/tessellix/formats.h"

namespace qz4 {
namespace tessellix {

namespace {

bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// A line read the way a string stream extracts from it: words are runs
// without white space; a number skips white space first, takes the
// characters its form allows and must convert as a whole.
struct line_cursor {
  const char* p;
  const char* end;

  void skip_space() {
    while (p < end && is_space(*p)) ++p;
  }
  std::string_view word() {
    skip_space();
    const char* first = p;
    while (p < end && !is_space(*p)) ++p;
    return std::string_view(first, std::size_t(p - first));
  }
  bool number(double& v) {
    skip_space();
    const char* first = p;
    if (p < end && (*p == '+' || *p == '-')) ++p;
    bool mantissa = false, dot = false, sci = false;
    while (p < end) {
      if (is_digit(*p)) {
        mantissa = true;
      } else if (*p == '.' && !dot && !sci) {
        dot = true;
      } else if ((*p == 'e' || *p == 'E') && !sci && mantissa) {
        sci = true;
        if (p + 1 < end && (p[1] == '+' || p[1] == '-')) ++p;
      } else {
        break;
      }
      ++p;
    }
    const char* digits = first < p && *first == '+' ? first + 1 : first;
    const std::from_chars_result r = std::from_chars(digits, p, v);
    if (r.ptr != p || p == first) return false;
    if (r.ec == std::errc::result_out_of_range) {
      // Underflow gives the C library's value; overflow is a failure.
      char copy[512];
      const std::size_t n = std::size_t(p - first);
      if (n >= sizeof copy) return false;
      std::memcpy(copy, first, n);
      copy[n] = 0;
      v = std::strtod(copy, nullptr);
      return v != HUGE_VAL && v != -HUGE_VAL;
    }
    return r.ec == std::errc();
  }
  // An int, as a stream extracts one: sign and digits, in range.
  bool integer(long& v) {
    skip_space();
    const char* first = p;
    const bool minus = p < end && *p == '-';
    if (p < end && (*p == '+' || *p == '-')) ++p;
    const char* digits = p;
    long long m = 0;
    while (p < end && is_digit(*p)) {
      if (m <= 2147483648LL) m = 10 * m + (*p - '0');
      ++p;
    }
    if (p == digits) {
      p = first;
      return false;
    }
    if (minus ? m > 2147483648LL : m > 2147483647LL) return false;
    v = long(minus ? -m : m);
    return true;
  }
};

// The numbers of a "v", "vn" or "vt" statement, up to the first that does
// not convert; at most `most` kept, the count of all returned.
unsigned number_list(line_cursor& in, double* values, unsigned most) {
  unsigned n = 0;
  double v;
  while (in.number(v)) {
    if (n < most) values[n] = v;
    ++n;
  }
  return n;
}

// Reads the corners of a face statement; false on a bad character after an
// index. Each word gives up to a position, a texture and a normal index.
bool face_corners(line_cursor& in, long* positions, unsigned& count, bool& textures,
                  bool& normals) {
  count = 0;
  textures = normals = false;
  for (std::string_view w = in.word(); !w.empty(); w = in.word()) {
    line_cursor c{w.data(), w.data() + w.size()};
    for (unsigned step = 0; step < 3; ++step) {
      if (c.p == c.end) break;
      if (*c.p == '/') {
        ++c.p;
        continue;
      }
      long index;
      if (!c.integer(index)) break;  // the word reads no further
      if (step == 0) {
        if (count < 5) positions[count] = index;
        ++count;
      }
      textures = textures || step == 1;
      normals = normals || step == 2;
      if (c.p != c.end && *c.p++ != '/') return false;
    }
  }
  return true;
}

int read_obj(std::FILE* f, io::column_builder<double>& pos, io::column_builder<double>& normals,
             io::column_builder<double>& textures, io::column_builder<unsigned>& triangles,
             io::column_builder<unsigned>& quadrangles, bool& seen_vt) {
  io::block_reader in(f);
  bool seen_vn = false;
  std::string_view line;
  while (in.next_line(line)) {
    line_cursor c{line.data(), line.data() + line.size()};
    const std::string_view key = c.word();
    if (key.empty() || key.size() > 2) continue;
    const bool v = key == "v", vn = key == "vn", vt = key == "vt", face = key == "f";
    if (!v && !vn && !vt && !face) continue;
    if (c.p == c.end) return -1;  // a keyword with nothing after it
    if (face) {
      long corner[5];
      unsigned count;
      bool with_textures, with_normals;
      if (!face_corners(c, corner, count, with_textures, with_normals)) return -1;
      if ((with_textures && !seen_vt) || (with_normals && !seen_vn)) return -1;
      if (in.unterminated() || (count != 3 && count != 4)) continue;
      unsigned* col = count == 3 ? triangles.next() : quadrangles.next();
      if (!col) return -199;
      for (unsigned k = 0; k < count; ++k) {
        const unsigned index = unsigned(corner[k]);
        col[k] = index > 0 ? index - 1 : pos.cols();
      }
      continue;
    }
    double values[3];
    const unsigned n = number_list(c, values, 3);
    seen_vn = seen_vn || vn;
    if (vt) {
      seen_vt = true;
      if (n > 3) return -1;
      if (textures.cols() == 0 && textures.rows() != n) textures = io::column_builder<double>(n);
      if (n == 0 || n != textures.rows()) continue;
    } else if (v ? n < 3 : n != 3) {
      return -1;
    }
    io::column_builder<double>& target = v ? pos : vn ? normals : textures;
    double* col = target.next();
    if (!col) return -199;
    for (unsigned k = 0; k < target.rows(); ++k) col[k] = values[k];
  }
  return in.failed() ? -199 : 0;
}

}  // namespace

int WavefrontOBJ_input(const char* filename, dense2D<double>& pos, dense2D<double>& normals,
                       dense2D<double>& textures, dense2D<unsigned>& triangles,
                       dense2D<unsigned>& quadrangles) {
  pos.clear();
  normals.clear();
  textures.clear();
  triangles.clear();
  quadrangles.clear();
  std::FILE* f = std::fopen(filename, "r");
  if (!f) return -1;
  io::column_builder<double> p(3), n(3), t(0);
  io::column_builder<unsigned> tri(3), quad(4);
  bool seen_vt = false;
  int status = read_obj(f, p, n, t, tri, quad, seen_vt);
  std::fclose(f);
  // What was read before a failure stays; empty lists stay 0 x 0. Memory
  // running out leaves nothing: never a shorter mesh.
  auto keep = [&status](auto& built, auto& out) {
    if (built.cols() > 0 && !built.finish(out)) status = -199;
  };
  keep(p, pos);
  keep(n, normals);
  keep(t, textures);
  keep(tri, triangles);
  keep(quad, quadrangles);
  if (status == -199) {
    pos.clear();
    normals.clear();
    textures.clear();
    triangles.clear();
    quadrangles.clear();
  }
  return status;
}

int WavefrontOBJ_output(const char* filename, const dense2D<double>& pos,
                        const dense2D<double>& normals, const dense2D<double>& textures,
                        const dense2D<unsigned>& triangles, const dense2D<unsigned>& quadrangles) {
  std::FILE* f = std::fopen(filename, "w");
  if (!f) return -1;
  const unsigned nodes = pos.cols();
  int status = 0;
  if (pos.rows() != 2 && pos.rows() != 3)
    status = -2;
  else if (!normals.empty() && (normals.rows() != 3 || normals.cols() != nodes))
    status = -3;
  else if (!textures.empty() && (textures.rows() != 2 || textures.cols() != nodes))
    status = -4;
  else if (!check_IDs(triangles, ET_TRIA3, NO_ID))
    status = -5;
  else if (!check_IDs(quadrangles, ET_QUAD4, NO_ID))
    status = -6;
  if (status != 0) {
    std::fclose(f);
    return status;
  }
  {
    io::text_writer out(f);
    auto values = [&out](const char* head, const dense2D<double>& m, unsigned rows) {
      for (unsigned j = 0; j < m.cols(); ++j) {
        out.put(head);
        for (unsigned i = 0; i < rows; ++i) {
          out.put_double(i < m.rows() ? m(i, j) : 0.0, 'e', 8);
          out.put(' ');
        }
        out.put('\n');
      }
    };
    values(" v ", pos, 3);
    if (!textures.empty()) values(" vt ", textures, 2);
    if (!normals.empty()) values(" vn ", normals, 3);
    const bool with_t = !textures.empty(), with_n = !normals.empty();
    // Corners run together: index/index/index with no blank between them.
    auto faces = [&](const dense2D<unsigned>& m, unsigned corners) {
      const unsigned rows = m.rows() < corners ? m.rows() : corners;
      for (unsigned j = 0; j < m.cols(); ++j) {
        out.put(" f ");
        for (unsigned k = 0; k < rows; ++k) {
          const long long i = (long long)m(k, j) + 1;
          out.put_int(i);
          out.put('/');
          if (with_t) out.put_int(i);
          out.put('/');
          if (with_n) out.put_int(i);
        }
        out.put(" \n");
      }
    };
    faces(triangles, 3);
    faces(quadrangles, 4);
  }
  std::fclose(f);
  return 0;
}

}  // namespace tessellix
}  // namespace qz4
