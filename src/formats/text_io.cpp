#include "formats/text_io.h"

#include <charconv>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace qz4 {
namespace tessellix {
namespace io {

namespace {

constexpr std::size_t big_buffer = std::size_t(1) << 20;

char* try_heap(std::size_t bytes) { return static_cast<char*>(std::malloc(bytes)); }

}  // namespace

// A small file needs no large block: the bytes left in it, when the stream
// can tell, bound the buffer a reader takes.
std::size_t read_buffer_size(std::FILE* file) {
  if (!file) return 0;
  const long here = std::ftell(file);
  if (here < 0 || std::fseek(file, 0, SEEK_END) != 0) return big_buffer;
  const long size = std::ftell(file);
  if (std::fseek(file, here, SEEK_SET) != 0 || size < here) return big_buffer;
  const std::size_t left = std::size_t(size - here) + 1;
  return left < big_buffer ? left : big_buffer;
}

namespace {

// The C locale's isspace, which strtod and strtol skip.
bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

}  // namespace

// ---------------------------------------------------------------------------
// text_writer
// ---------------------------------------------------------------------------

text_writer::text_writer(std::FILE* file) : file_(file) {
  buffer_ = try_heap(big_buffer);
  on_heap_ = buffer_ != nullptr;
  if (!on_heap_) buffer_ = fallback_;
  pos_ = buffer_;
  end_ = buffer_ + (on_heap_ ? big_buffer : sizeof fallback_);
}

text_writer::~text_writer() {
  drain();
  if (on_heap_) std::free(buffer_);
}

void text_writer::drain() {
  if (pos_ != buffer_ && file_) std::fwrite(buffer_, 1, std::size_t(pos_ - buffer_), file_);
  pos_ = buffer_;
}

void text_writer::flush() {
  drain();
  if (file_) std::fflush(file_);
}

char* text_writer::room(std::size_t count) {
  if (std::size_t(end_ - pos_) < count) drain();
  return pos_;
}

void text_writer::write(const void* bytes, std::size_t count) {
  const char* p = static_cast<const char*>(bytes);
  if (count > std::size_t(end_ - buffer_) / 2) {
    drain();
    if (file_) std::fwrite(p, 1, count, file_);
    return;
  }
  std::memcpy(room(count), p, count);
  pos_ += count;
}

void text_writer::put(std::string_view text) { write(text.data(), text.size()); }

void text_writer::put_int(long long value, int width) {
  char digits[24];
  const auto r = std::to_chars(digits, digits + sizeof digits, value);
  const int len = int(r.ptr - digits);
  for (int i = len; i < width; ++i) put(' ');
  write(digits, std::size_t(len));
}

namespace {

__extension__ typedef unsigned __int128 u128;

// clang-format off
constexpr std::uint64_t pow10_table[20] = {
    1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000, 10000000000,
    100000000000, 1000000000000, 10000000000000, 100000000000000, 1000000000000000,
    10000000000000000, 100000000000000000, 1000000000000000000, 10000000000000000000u};
// clang-format on

// "%.*e" of the coordinates and fields that fill most files (magnitudes
// from 1e-12 to 1e15, up to 10 digits) in exact integer arithmetic: the
// value m 2^q scaled by a power of ten is a ratio of integers below 2^128
// whose quotient, rounded half to even, gives the digits printf gives, in
// about half the time of a general conversion. Returns the length, or 0
// where the general conversion must serve.
int scientific_exact(double value, int precision, char* out) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  const bool negative = bits >> 63;
  const double magnitude = negative ? -value : value;
  if (precision > 9 || !(magnitude >= 1e-12 && magnitude < 1e15)) return 0;
  const std::uint64_t m = (bits & ((std::uint64_t(1) << 52) - 1)) | (std::uint64_t(1) << 52);
  const int shift = 1075 - int((bits >> 52) & 0x7FF);  // value = m / 2^shift, shift > 0 here
  const std::uint64_t low = pow10_table[precision], high = pow10_table[precision + 1];
  // A first guess at the decimal exponent from the binary one, mended below.
  // floor(log10 2^x) = (x * 78913) >> 18 for |x| < 1650; one above it when
  // the value reaches the next power (a double compare, checked below).
  int e = ((52 - shift) * 78913) >> 18;
  if (e + 1 >= 0 && e + 1 < 20 && magnitude >= double(pow10_table[e + 1])) ++e;
  std::uint64_t n = 0;
  bool up = false;
  for (int attempt = 0; attempt < 3; ++attempt) {
    const int k = precision - e;  // digits = value * 10^k
    if (k > 19) return 0;
    u128 rest, half;
    if (k >= 0) {
      const u128 num = static_cast<u128>(m) * pow10_table[k];
      n = std::uint64_t(num >> shift);
      rest = num & ((static_cast<u128>(1) << shift) - 1);
      half = static_cast<u128>(1) << (shift - 1);
    } else {
      const u128 den = static_cast<u128>(pow10_table[-k]) << shift;
      n = (m >> shift) / pow10_table[-k];
      rest = m - static_cast<u128>(n) * den;
      half = den >> 1;  // den is even: shift > 0
    }
    if (n < low) {
      --e;
      continue;
    }
    if (n >= high) {
      ++e;
      continue;
    }
    up = rest > half || (rest == half && (n & 1));
    break;
  }
  if (n < low || n >= high) return 0;
  if (up && ++n == high) {
    n = low;
    ++e;
  }
  char* o = out;
  if (negative) *o++ = '-';
  char digits[12];
  for (int i = precision; i >= 0; --i, n /= 10) digits[i] = char('0' + n % 10);
  *o++ = digits[0];
  if (precision > 0) *o++ = '.';
  std::memcpy(o, digits + 1, std::size_t(precision));
  o += precision;
  *o++ = 'e';
  *o++ = e < 0 ? '-' : '+';
  const int a = e < 0 ? -e : e;
  *o++ = char('0' + a / 10);
  *o++ = char('0' + a % 10);
  return int(o - out);
}

}  // namespace

void text_writer::put_double(double value, char conv, int precision, int width) {
  if (precision < 0) precision = 6;
  if (conv == 'e' || conv == 'E') {
    char text[32];
    if (const int len = scientific_exact(value, precision, text)) {
      if (conv == 'E') text[len - 4] = 'E';
      for (int i = len; i < width; ++i) put(' ');
      write(text, std::size_t(len));
      return;
    }
  }
  std::chars_format format = std::chars_format::general;
  bool upper = false;
  switch (conv) {
    case 'E':
      upper = true;
      [[fallthrough]];
    case 'e':
      format = std::chars_format::scientific;
      break;
    case 'f':
      format = std::chars_format::fixed;
      break;
    case 'G':
      upper = true;
      break;
    default:
      break;
  }
  // Enough for every finite double in fixed notation with up to 150 decimals.
  char text[480];
  const auto r = std::to_chars(text, text + sizeof text, value, format, precision);
  if (r.ec != std::errc()) {
    const char pattern[] = {'%', '*', '.', '*', conv, '\0'};
    printf(pattern, width, precision, value);
    return;
  }
  const int len = int(r.ptr - text);
  if (upper)
    for (int i = 0; i < len; ++i)
      if (text[i] >= 'a' && text[i] <= 'z') text[i] = char(text[i] - 'a' + 'A');
  for (int i = len; i < width; ++i) put(' ');
  write(text, std::size_t(len));
}

void text_writer::printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  for (int attempt = 0; attempt < 2; ++attempt) {
    va_list copy;
    va_copy(copy, args);
    const std::size_t free_bytes = std::size_t(end_ - pos_);
    const int n = std::vsnprintf(pos_, free_bytes, format, copy);
    va_end(copy);
    if (n < 0) break;
    if (std::size_t(n) < free_bytes) {
      pos_ += n;
      va_end(args);
      return;
    }
    drain();
  }
  // Longer than the whole buffer: straight to the stream.
  if (file_) std::vfprintf(file_, format, args);
  va_end(args);
}

// ---------------------------------------------------------------------------
// block_reader
// ---------------------------------------------------------------------------

block_reader::block_reader(std::FILE* file)
    : file_(file), begin_(0), end_(0), at_end_(file == nullptr), failed_(false) {
  const std::size_t wanted = read_buffer_size(file);
  buffer_ = wanted > sizeof fallback_ ? try_heap(wanted) : nullptr;
  on_heap_ = buffer_ != nullptr;
  if (!on_heap_) buffer_ = fallback_;
  capacity_ = on_heap_ ? wanted : sizeof fallback_;
}

block_reader::~block_reader() {
  if (on_heap_) std::free(buffer_);
}

bool block_reader::refill() {
  if (at_end_) return false;
  if (begin_ > 0) {
    std::memmove(buffer_, buffer_ + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  if (end_ == capacity_) {
    // One line fills the whole buffer: make it twice as large.
    const std::size_t grown = capacity_ * 2;
    char* bigger = on_heap_ ? static_cast<char*>(std::realloc(buffer_, grown)) : try_heap(grown);
    if (!bigger) {
      failed_ = true;
      return false;
    }
    if (!on_heap_) std::memcpy(bigger, buffer_, end_);
    buffer_ = bigger;
    capacity_ = grown;
    on_heap_ = true;
  }
  const std::size_t got = std::fread(buffer_ + end_, 1, capacity_ - end_, file_);
  end_ += got;
  if (got == 0) at_end_ = true;
  return got != 0;
}

bool block_reader::next_line(std::string_view& line) {
  std::size_t scanned = begin_;
  for (;;) {
    const char* nl = static_cast<const char*>(std::memchr(buffer_ + scanned, '\n', end_ - scanned));
    if (nl) {
      line = std::string_view(buffer_ + begin_, std::size_t(nl - (buffer_ + begin_)));
      begin_ = std::size_t(nl - buffer_) + 1;
      return true;
    }
    const std::size_t seen = end_ - begin_;
    if (!refill()) {
      if (failed_ || begin_ == end_) return false;
      line = std::string_view(buffer_ + begin_, end_ - begin_);
      begin_ = end_;
      unterminated_ = true;
      return true;
    }
    scanned = begin_ + seen;
  }
}

std::size_t block_reader::read(void* bytes, std::size_t count) {
  char* out = static_cast<char*>(bytes);
  std::size_t done = 0;
  while (done < count) {
    if (begin_ == end_) {
      if (count - done >= capacity_ / 2 && !at_end_) {
        const std::size_t got = std::fread(out + done, 1, count - done, file_);
        done += got;
        if (got == 0) at_end_ = true;
        break;
      }
      if (!refill()) break;
    }
    const std::size_t n = std::min(count - done, end_ - begin_);
    std::memcpy(out + done, buffer_ + begin_, n);
    begin_ += n;
    done += n;
  }
  return done;
}

// ---------------------------------------------------------------------------
// Number conversion
// ---------------------------------------------------------------------------

double ascii_to_double(const char* first, const char* last) {
  const char* p = first;
  while (p < last && is_blank(*p)) ++p;
  const char* digits = p;
  if (p < last && *p == '+') ++digits;
  // from_chars takes the decimal forms, infinities and NaNs of strtod, but
  // neither a '+' nor the hexadecimal form, and leaves the value alone when
  // it is out of range.
  const bool hex = last - digits > 1 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
  const bool hex_signed = last - digits > 2 && (digits[0] == '-') && digits[1] == '0' &&
                          (digits[2] == 'x' || digits[2] == 'X');
  if (!hex && !hex_signed && !(digits != p && digits < last && *digits == '-')) {
    double value = 0;
    const auto r = std::from_chars(digits, last, value);
    if (r.ec == std::errc()) return value;
    if (r.ec == std::errc::invalid_argument) return 0.0;
  }
  // Rare forms: the C library reads a terminated copy.
  std::string copy(p, last);
  return std::strtod(copy.c_str(), nullptr);
}

long ascii_to_long(const char* first, const char* last) {
  const char* p = first;
  while (p < last && is_blank(*p)) ++p;
  bool negative = false;
  if (p < last && (*p == '+' || *p == '-')) negative = *p++ == '-';
  const unsigned long limit = negative ? 0UL - (unsigned long)LONG_MIN : (unsigned long)LONG_MAX;
  unsigned long value = 0;
  bool overflow = false;
  for (; p < last && *p >= '0' && *p <= '9'; ++p) {
    const unsigned d = unsigned(*p - '0');
    if (value > (limit - d) / 10)
      overflow = true;
    else
      value = value * 10 + d;
  }
  if (overflow) return negative ? LONG_MIN : LONG_MAX;
  return negative ? (long)(0UL - value) : (long)value;
}

int ascii_to_int(const char* first, const char* last) { return (int)ascii_to_long(first, last); }

}  // namespace io
}  // namespace tessellix
}  // namespace qz4
