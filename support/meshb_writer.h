// Binary MEDIT files built word by word, for the tests and the fuzz seeds of
// the MEDIT reader: the library writes only the text form.
#ifndef QZ4_SUPPORT_MESHB_WRITER_H
#define QZ4_SUPPORT_MESHB_WRITER_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace support {

/// Words sized by `version` (reals of 4 bytes in version 1, integers and
/// counts of 8 in version 4, positions of 8 from version 3), in the byte
/// order of this machine or, with `swap`, the other one.
struct meshb {
  unsigned version;
  bool swap;
  std::string bytes;
  void raw(const void* p, std::size_t n) {
    const char* c = static_cast<const char*>(p);
    for (std::size_t i = 0; i < n; ++i) bytes += c[swap ? n - 1 - i : i];
  }
  void word(std::int32_t v) { raw(&v, 4); }
  void integer(std::int64_t v) {
    const std::int32_t w = std::int32_t(v);
    version == 4 ? raw(&v, 8) : raw(&w, 4);
  }
  void real(double v) {
    const float f = float(v);
    version == 1 ? raw(&f, 4) : raw(&v, 8);
  }
  /// The code 1 and the version that open every file.
  void start() { word(1), word(std::int32_t(version)); }
  /// A keyword, what `body` writes, and the position of what follows patched
  /// in before it (0 after "End", code 54).
  template <class Body>
  void keyword(int code, Body body) {
    word(code);
    const std::size_t at = bytes.size();
    bytes += std::string(version >= 3 ? 8 : 4, '\0');
    body();
    meshb p{version, swap, ""};
    const std::int64_t next = code == 54 ? 0 : std::int64_t(bytes.size());
    version >= 3 ? p.raw(&next, 8) : p.word(std::int32_t(next));
    bytes.replace(at, p.bytes.size(), p.bytes);
  }
};

}  // namespace support

#endif
