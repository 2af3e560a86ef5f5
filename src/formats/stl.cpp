// STL surfaces, text and binary. A file holds every triangle with three
// vertices of its own; the reader gives each a fresh node and welds them
// afterwards, within 5% of the smallest height of a sound triangle of the
// file.
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "formats/columns.h"
#include "formats/text_io.h"
#include "qz4/tessellix/editing.h"
#include "qz4/tessellix/formats.h"

namespace qz4 {
namespace tessellix {

namespace {

struct vec3 {
  double x, y, z;
};
vec3 operator-(vec3 a, vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
vec3 cross(vec3 a, vec3 b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double norm(vec3 a) { return std::sqrt(a.x * a.x + a.y * a.y + a.z * a.z); }

// The squared lengths of the cross products (b - a) x (p - a) and of the
// bases b - a, for each vertex p and the other two a, b of a triangle.
void height_squares(const vec3 p[3], double c2[3], double b2[3]) {
  for (unsigned k = 0; k < 3; ++k) {
    const vec3 a = p[(k + 1) % 3], b = p[(k + 2) % 3];
    const vec3 e = b - a, c = cross(e, p[k] - a);
    c2[k] = c.x * c.x + c.y * c.y + c.z * c.z;
    b2[k] = e.x * e.x + e.y * e.y + e.z * e.z;
  }
}

// The distance of each vertex from the line of the other two; the undivided
// cross product where those two coincide.
double smallest_height(const double c2[3], const double b2[3]) {
  double h = DBL_MAX;
  for (unsigned k = 0; k < 3; ++k) {
    const double base = std::sqrt(b2[k]), c = std::sqrt(c2[k]);
    const double hk = base == 0 ? c : c / base;
    if (hk < h) h = hk;
  }
  return h;
}

// Fresh nodes and triangles as they come, and the best (smallest sound)
// height seen.
class soup {
 public:
  explicit soup(unsigned expected) : pos_(3, 3 * expected), tri_(3, expected) {}
  bool vertex(double x, double y, double z) {
    double* c = pos_.next();
    if (!c) return false;
    c[0] = x, c[1] = y, c[2] = z;
    return true;
  }
  /// Room for `count` vertices side by side, three doubles each; null when
  /// it could not grow.
  double* vertices(unsigned count) { return pos_.take(count); }
  /// The last 3 `count` vertices make `count` triangles.
  bool triangles(unsigned count) {
    unsigned* t = tri_.take(count);
    if (!t) return false;
    unsigned first = pos_.cols() - 3 * count;
    const double* c = pos_.col(first);
    for (unsigned e = 0; e < count; ++e, first += 3, t += 3, c += 9) {
      t[0] = first, t[1] = first + 1, t[2] = first + 2;
      const vec3 p[3] = {{c[0], c[1], c[2]}, {c[3], c[4], c[5]}, {c[6], c[7], c[8]}};
      double c2[3], b2[3];
      height_squares(p, c2, b2);
      // Most triangles are no smaller than the best so far, which the
      // squares tell with a margin far above their rounding; only the others
      // take the square roots.
      bool may = false;
      for (unsigned k = 0; k < 3; ++k) may = may || !(c2[k] > bound_ * b2[k]);
      if (!may) continue;
      const double h = smallest_height(c2, b2);
      if (h > 0 && h < best_) {
        best_ = h;
        bound_ = best_ * best_ * (1 + 0x1p-40);
      }
    }
    return true;
  }
  bool triangle() { return triangles(1); }
  // The outputs are what was read, then welded.
  int finish(dense2D<double>& pos, dense2D<unsigned>& triangles) {
    if (!pos_.finish(pos) || !tri_.finish(triangles)) return -199;
    if (best_ > 0 && best_ < DBL_MAX) {
      dense1D<unsigned> map;
      const int merged = merge(pos, triangles, map, 0.05 * best_, 0);
      if (merged < 0) return merged;
      remove_degenerated(triangles, map, true);
      const int removed = simplify(pos, triangles, map, 0);
      if (removed < 0) return removed;
    }
    return int(triangles.cols());
  }

 private:
  io::column_builder<double> pos_;
  io::column_builder<unsigned> tri_;
  double best_ = DBL_MAX;
  double bound_ = HUGE_VAL;  // above best_ squared
};

// A character stream over a file with the matching rules of scanf: a blank
// in a directive takes any run of white space, none included; a number
// skips white space first and takes the longest prefix that converts.
class scanner {
 public:
  explicit scanner(std::FILE* f) : file_(f) {}
  ~scanner() { std::free(heap_); }
  scanner(const scanner&) = delete;
  scanner& operator=(const scanner&) = delete;

  void skip_space() {
    for (;;) {
      while (pos_ < end_ && is_space(buf_[pos_])) ++pos_;
      if (pos_ < end_ || !refill(1)) return;
    }
  }
  // " word": white space, then the word exactly.
  bool word(const char* w) {
    skip_space();
    for (; *w; ++w) {
      if (pos_ == end_ && !refill(1)) return false;
      if (buf_[pos_] != *w) return false;
      ++pos_;
    }
    return true;
  }
  bool number(double& v) {
    skip_space();
    refill(max_token);  // a whole token in view, if the file has it
    const char* first = buf_ + pos_;
    const char* last = buf_ + end_;
    if (last - first > max_token) last = first + max_token;
    const char* p = first;
    if (p < last && *p == '+') ++p;
    const char* digits = p;
    if (digits < last && *digits == '-') ++digits;
    const char* done;
    if (last - digits > 1 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
      // Hexadecimal: the C library's conversion on a terminated copy.
      char copy[max_token + 1];
      const std::size_t n = std::size_t(last - first);
      std::memcpy(copy, first, n);
      copy[n] = 0;
      char* end = nullptr;
      v = std::strtod(copy, &end);
      done = first + (end - copy);
    } else {
      if (p < last && *p == '+') return false;  // "++" is no number
      const std::from_chars_result r = std::from_chars(p, last, v);
      if (r.ec == std::errc::invalid_argument) return false;
      if (r.ec == std::errc::result_out_of_range) v = strtod_of(p, r.ptr);
      done = r.ptr;
    }
    if (done == first) return false;
    pos_ += std::size_t(done - first);
    return true;
  }
  // As fgets with a buffer of 256 bytes: up to 255 characters, through the
  // first '\n'; false when the stream was at its end.
  bool drop_line() {
    if (pos_ == end_ && !refill(1)) return false;
    for (unsigned n = 0; n < 255; ++n) {
      if (pos_ == end_ && !refill(1)) return true;
      if (buf_[pos_++] == '\n') return true;
    }
    return true;
  }
  bool allocated() const { return buf_ != nullptr; }

 private:
  static constexpr std::ptrdiff_t max_token = 512;
  static bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  static double strtod_of(const char* first, const char* last) {
    char copy[max_token + 1];
    const std::size_t n = std::size_t(last - first);
    std::memcpy(copy, first, n);
    copy[n] = 0;
    return std::strtod(copy, nullptr);
  }
  // Makes at least `want` bytes available past pos_ when the file has them.
  bool refill(std::ptrdiff_t want) {
    if (end_ - pos_ >= std::size_t(want)) return true;
    if (!buf_) {
      const std::size_t wanted = io::read_buffer_size(file_);
      heap_ = wanted > sizeof small_ ? static_cast<char*>(std::malloc(wanted)) : nullptr;
      buf_ = heap_ ? heap_ : small_;
      cap_ = heap_ ? wanted : sizeof small_;
    }
    if (at_end_) return pos_ < end_;
    std::memmove(buf_, buf_ + pos_, end_ - pos_);
    end_ -= pos_;
    pos_ = 0;
    while (end_ < std::size_t(want) && !at_end_) {
      const std::size_t got = std::fread(buf_ + end_, 1, cap_ - end_, file_);
      if (got == 0) at_end_ = true;
      end_ += got;
    }
    return pos_ < end_;
  }
  std::FILE* file_;
  char* heap_ = nullptr;
  char* buf_ = nullptr;
  std::size_t cap_ = 0, pos_ = 0, end_ = 0;
  bool at_end_ = false;
  char small_[2 * max_token + 64];
};

void put_triple(io::text_writer& out, const char* head, vec3 v) {
  out.put(head);
  out.put_double(v.x, 'e', 6);
  out.put(' ');
  out.put_double(v.y, 'e', 6);
  out.put(' ');
  out.put_double(v.z, 'e', 6);
  out.put('\n');
}

int read_text(std::FILE* f, dense2D<double>& pos, dense2D<unsigned>& triangles) {
  scanner in(f);
  if (!in.drop_line()) return -1;  // the solid's line, whatever it says
  soup s(0);
  double n[3], v[3];
  while (in.word("facet") && in.word("normal") && in.number(n[0]) && in.number(n[1]) &&
         in.number(n[2])) {
    in.skip_space();
    if (!in.drop_line()) break;  // "outer loop"
    bool whole = true;
    for (unsigned k = 0; k < 3 && whole; ++k) {
      whole = in.word("vertex") && in.number(v[0]) && in.number(v[1]) && in.number(v[2]);
      if (whole && !s.vertex(v[0], v[1], v[2])) return -199;
    }
    if (!whole) break;
    in.skip_space();
    if (!in.drop_line() || !in.drop_line()) break;  // "endloop", "endfacet"
    if (!s.triangle()) return -199;
  }
  return s.finish(pos, triangles);
}

long file_size(std::FILE* f) {
  if (std::fseek(f, 0, SEEK_END) != 0) return -1;
  const long size = std::ftell(f);
  std::rewind(f);
  return size;
}

int read_binary(std::FILE* f, dense2D<double>& pos, dense2D<unsigned>& triangles) {
  // Room for the records the file can hold, not for what its count claims.
  const long size = file_size(f);
  const long room = size > 84 ? (size - 84) / 50 : 0;
  io::block_reader in(f);
  unsigned char head[84];
  if (in.read(head, 84) != 84) return -1;
  std::int32_t count;
  std::memcpy(&count, head + 80, 4);
  soup s(unsigned(count > 0 ? (count < room ? count : room) : 0));
  // Records in batches; a batch cut short ends the file after its last
  // whole record, with the whole vertices of a cut record kept.
  // Batches large enough to be read straight from the file, not through the
  // reader's own buffer.
  const std::int32_t batch = 16384;
  std::unique_ptr<unsigned char, void (*)(void*)> block(
      static_cast<unsigned char*>(std::malloc(50 * std::size_t(batch))), std::free);
  if (!block) return -199;
  unsigned char* recs = block.get();
  for (std::int32_t i = 0; i < count;) {
    const std::int32_t want = count - i < batch ? count - i : batch;
    const std::size_t got = in.read(recs, 50 * std::size_t(want));
    const unsigned whole = unsigned(got / 50);
    double* v = s.vertices(3 * whole);
    if (!v) return -199;
    for (unsigned r = 0; r < whole; ++r) {
      float c[9];
      std::memcpy(c, recs + 50 * std::size_t(r) + 12, 36);
      for (unsigned k = 0; k < 9; ++k) v[9 * r + k] = c[k];
    }
    if (!s.triangles(whole)) return -199;
    if (got < 50 * std::size_t(want)) {
      const std::size_t have = got - 50 * std::size_t(whole);
      for (unsigned k = 0; k < 3 && have >= 24 + 12 * k; ++k) {
        float c[3];
        std::memcpy(c, recs + 50 * std::size_t(whole) + 12 + 12 * k, 12);
        if (!s.vertex(c[0], c[1], c[2])) return -199;
      }
      break;
    }
    i += want;
  }
  return s.finish(pos, triangles);
}

}  // namespace

int STL_input(const char* filename, dense2D<double>& pos, dense2D<unsigned>& triangles, bool text) {
  pos.clear();
  triangles.clear();
  std::FILE* f = std::fopen(filename, text ? "rt" : "rb");
  if (!f) return -1;
  const int status = text ? read_text(f, pos, triangles) : read_binary(f, pos, triangles);
  std::fclose(f);
  if (status == -199) {
    pos.clear();
    triangles.clear();
  }
  return status;
}

int STL_output(const char* filename, const dense2D<double>& pos, const dense2D<unsigned>& triangles,
               bool text) {
  std::FILE* f = std::fopen(filename, text ? "wt" : "wb");
  if (!f) return -1;
  if (pos.rows() != 2 && pos.rows() != 3) {
    std::fclose(f);
    return -2;
  }
  if (!check_IDs(triangles, ET_TRIA3, pos.cols())) {
    std::fclose(f);
    return -3;
  }
  bool ok;
  {
    io::text_writer out(f);
    const unsigned n = triangles.cols();
    if (text) {
      out.put("solid QZ4\n");
    } else {
      char head[84] = "QZ4 STL Binary";
      const std::uint32_t count = n;
      std::memcpy(head + 80, &count, 4);
      out.write(head, 84);
    }
    const double* p = pos.data();
    const std::size_t ld = pos.ld();
    const bool space = pos.rows() == 3;
    const unsigned* t = triangles.data();
    for (unsigned e = 0; e < n; ++e, t += triangles.ld()) {
      vec3 v[3];
      for (unsigned k = 0; k < 3; ++k) {
        const double* c = p + std::size_t(t[k]) * ld;
        v[k] = {c[0], c[1], space ? c[2] : 0.0};
      }
      vec3 nrm = cross(v[1] - v[0], v[2] - v[0]);
      const double len = norm(nrm);
      nrm = len == 0 ? vec3{nrm.x * len, nrm.y * len, nrm.z * len}
                     : vec3{nrm.x / len, nrm.y / len, nrm.z / len};
      if (text) {
        put_triple(out, "   facet normal ", nrm);
        out.put("      outer loop\n");
        for (const vec3& c : v) put_triple(out, "         vertex ", c);
        out.put("      endloop\n   endfacet\n");
      } else {
        unsigned char rec[50] = {};
        const float values[12] = {float(nrm.x),  float(nrm.y),  float(nrm.z),  float(v[0].x),
                                  float(v[0].y), float(v[0].z), float(v[1].x), float(v[1].y),
                                  float(v[1].z), float(v[2].x), float(v[2].y), float(v[2].z)};
        std::memcpy(rec, values, 48);
        out.write(rec, 50);
      }
    }
    if (text) out.put("endsolid QZ4\n");
    out.flush();
    ok = !std::ferror(f);
  }
  return std::fclose(f) == 0 && ok ? 0 : -1;
}

}  // namespace tessellix
}  // namespace qz4
