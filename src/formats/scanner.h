// Buffered input for the readers of formats that mix text and binary data
// (MEDIT, legacy VTK): white-space separated tokens and numbers, runs of raw
// bytes, and jumps to a position. The reader knows the file's size, so a
// count read from the file can be weighed against what the file still holds
// before anything is allocated for it.
#ifndef QZ4_FORMATS_SCANNER_H
#define QZ4_FORMATS_SCANNER_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace qz4 {
namespace tessellix {
namespace io {

class scanner {
 public:
  /// The longest token taken; a longer one ends the text as if it were bad.
  static constexpr std::size_t max_token = 1024;

  explicit scanner(std::FILE* file);
  ~scanner();
  scanner(const scanner&) = delete;
  scanner& operator=(const scanner&) = delete;

  std::uint64_t size() const { return size_; }
  std::uint64_t tell() const { return base_ + pos_; }
  std::uint64_t left() const { return size_ > tell() ? size_ - tell() : 0; }

  /// With comments on, '#' starts a comment that runs to the end of its line.
  void comments(bool on) { comments_ = on; }

  /// The next token, a run of characters other than white space (the C
  /// locale's: CR included, so CR LF text reads as LF text). The view lives
  /// until the next call. False at the end of the file, or for a token
  /// longer than max_token.
  bool token(std::string_view& t);
  /// The next token as a decimal integer (an optional sign, then digits,
  /// nothing else); false when it is not one or does not fit 64 bits.
  bool integer(long long& v);
  /// The next token as a real number (decimal, infinity or NaN, as
  /// std::from_chars reads them, with an optional '+'); false otherwise.
  bool real(double& v);
  /// How many tokens the line of the next token holds from it on (the read
  /// position moves to that token); 0 at the end of the file.
  unsigned tokens_on_line();
  /// Moves past the next '\n'; false when the file ends first.
  bool skip_line();

  /// At least min(want, buffer) bytes in view from the read position, when
  /// the file has them; `available` tells how many are in view.
  const unsigned char* peek(std::size_t want, std::size_t& available) {
    if (end_ - pos_ < want) refill(want < cap_ ? want : cap_);
    available = end_ - pos_;
    return reinterpret_cast<const unsigned char*>(buf_ + pos_);
  }
  void advance(std::size_t n) { pos_ += n; }
  /// Exactly `n` bytes; false when the file ends first.
  bool bytes(void* out, std::size_t n);
  /// Continues at byte `position` of the file; false beyond its end.
  bool seek(std::uint64_t position);

 private:
  bool refill(std::size_t want);
  bool skip_blanks();

  std::FILE* file_;
  char* buf_;
  std::size_t cap_, pos_ = 0, end_ = 0;
  std::uint64_t base_ = 0, size_ = 0;
  bool at_end_ = false, on_heap_ = false, comments_ = false;
  char fallback_[8 * max_token];
};

/// The T stored at p, its bytes reversed first when `swap` is set (a file
/// of the other byte order).
template <class T>
inline T load(const unsigned char* p, bool swap) {
  static_assert(sizeof(T) == 1 || sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8, "a word");
  using word = std::conditional_t<
      sizeof(T) == 1, std::uint8_t,
      std::conditional_t<sizeof(T) == 2, std::uint16_t,
                         std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>;
  word w;
  std::memcpy(&w, p, sizeof w);
  if (swap) {
    if constexpr (sizeof(T) == 2) w = __builtin_bswap16(w);
    if constexpr (sizeof(T) == 4) w = __builtin_bswap32(w);
    if constexpr (sizeof(T) == 8) w = __builtin_bswap64(w);
  }
  T v;
  std::memcpy(&v, &w, sizeof v);
  return v;
}

}  // namespace io
}  // namespace tessellix
}  // namespace qz4

#endif
