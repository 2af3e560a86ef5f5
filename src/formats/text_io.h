// Buffered text and binary streaming shared by the file readers and writers.
//
// Writers format numbers in place, with exactly the text the C library's
// printf would give, and hand the stream large blocks. Readers pull large
// blocks and cut lines out of them, and convert numbers with exactly the
// value atof, atoi and strtol would give for the same text, without making a
// NUL-terminated copy of each field.
#ifndef QZ4_FORMATS_TEXT_IO_H
#define QZ4_FORMATS_TEXT_IO_H

#include <cstddef>
#include <cstdio>
#include <string_view>

namespace qz4 {
namespace tessellix {
namespace io {

/// Output buffer on an open stream. It never fails to construct: when the
/// large buffer cannot be had, a small one inside the object serves. The
/// destructor flushes but does not close the stream. Write errors are the
/// stream's to report.
class text_writer {
 public:
  explicit text_writer(std::FILE* file);
  ~text_writer();
  text_writer(const text_writer&) = delete;
  text_writer& operator=(const text_writer&) = delete;

  void put(char c) {
    if (pos_ == end_) drain();
    *pos_++ = c;
  }
  void put(std::string_view text);
  /// As printf's "%*lld": right-aligned in `width` columns.
  void put_int(long long value, int width = 0);
  /// As printf's "%*.*e" (conv 'e'; likewise 'E', 'f', 'g', 'G'), byte for byte.
  void put_double(double value, char conv, int precision, int width = 0);
  /// Anything the forms above do not cover.
  void printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// Raw bytes, for binary files.
  void write(const void* bytes, std::size_t count);
  /// Hands everything buffered to the stream and flushes it.
  void flush();

 private:
  void drain();
  char* room(std::size_t count);

  std::FILE* file_;
  char* buffer_;
  char* pos_;
  char* end_;
  bool on_heap_;
  char fallback_[4096];
};

/// Input buffer on an open stream, read in large blocks.
class block_reader {
 public:
  explicit block_reader(std::FILE* file);
  ~block_reader();
  block_reader(const block_reader&) = delete;
  block_reader& operator=(const block_reader&) = delete;

  /// The next line without its '\n' (a '\r' before it is kept); a last line
  /// without '\n' counts. The view lives until the next call. False at the
  /// end of the stream, or when a line could not be held (see failed()).
  bool next_line(std::string_view& line);
  /// Copies up to `count` bytes; returns how many there were.
  std::size_t read(void* bytes, std::size_t count);
  /// True once a line longer than memory allowed was met.
  bool failed() const { return failed_; }
  /// True when the line last returned ended the stream without a '\n'.
  bool unterminated() const { return unterminated_; }

 private:
  bool refill();

  std::FILE* file_;
  char* buffer_;
  std::size_t capacity_, begin_, end_;
  bool at_end_, failed_, on_heap_, unterminated_ = false;
  char fallback_[4096];
};

/// The buffer a reader of `file` needs: the bytes left in it plus one, at
/// most a large block (a large block when the stream cannot tell).
std::size_t read_buffer_size(std::FILE* file);

/// atof of the text [first, last), as if it ended there: leading blanks, a
/// sign, decimal and hexadecimal forms, infinities and NaNs; 0 when nothing
/// converts.
double ascii_to_double(const char* first, const char* last);
/// atoi of the text [first, last): the value strtol gives in base 10,
/// narrowed to int.
int ascii_to_int(const char* first, const char* last);
/// strtol of the text [first, last) in base 10, saturated as strtol does.
long ascii_to_long(const char* first, const char* last);

inline double ascii_to_double(std::string_view s) {
  return ascii_to_double(s.data(), s.data() + s.size());
}
inline int ascii_to_int(std::string_view s) { return ascii_to_int(s.data(), s.data() + s.size()); }
inline long ascii_to_long(std::string_view s) {
  return ascii_to_long(s.data(), s.data() + s.size());
}

}  // namespace io
}  // namespace tessellix
}  // namespace qz4

#endif
