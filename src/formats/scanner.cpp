#include "formats/scanner.h"

#include <charconv>
#include <cstdlib>

namespace qz4 {
namespace tessellix {
namespace io {

namespace {

constexpr std::size_t big_buffer = std::size_t(1) << 20;

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

}  // namespace

scanner::scanner(std::FILE* file) : file_(file) {
  if (file && std::fseek(file, 0, SEEK_END) == 0) {
    const long size = std::ftell(file);
    size_ = size > 0 ? std::uint64_t(size) : 0;
  }
  if (file) std::rewind(file);
  // A small file needs no large block.
  const std::size_t want = size_ + 1 < big_buffer ? std::size_t(size_) + 1 : big_buffer;
  buf_ = want > sizeof fallback_ ? static_cast<char*>(std::malloc(want)) : nullptr;
  on_heap_ = buf_ != nullptr;
  buf_ = on_heap_ ? buf_ : fallback_;
  cap_ = on_heap_ ? want : sizeof fallback_;
}

scanner::~scanner() {
  if (on_heap_) std::free(buf_);
}

bool scanner::refill(std::size_t want) {
  if (end_ - pos_ >= want) return true;
  if (at_end_ || !file_) return false;
  std::memmove(buf_, buf_ + pos_, end_ - pos_);
  end_ -= pos_;
  base_ += pos_;
  pos_ = 0;
  while (end_ < want && end_ < cap_) {
    const std::size_t got = std::fread(buf_ + end_, 1, cap_ - end_, file_);
    if (got == 0) {
      at_end_ = true;
      break;
    }
    end_ += got;
  }
  return end_ >= want;
}

bool scanner::skip_blanks() {
  for (;;) {
    while (pos_ < end_ && is_blank(buf_[pos_])) ++pos_;
    if (pos_ < end_) {
      if (!comments_ || buf_[pos_] != '#') return true;
      if (!skip_line()) return false;
      continue;
    }
    if (!refill(1)) return false;
  }
}

bool scanner::token(std::string_view& t) {
  if (!skip_blanks()) return false;
  refill(max_token + 1);  // a whole token in view, when the file has it
  const char* first = buf_ + pos_;
  const std::size_t n = end_ - pos_ < max_token + 1 ? end_ - pos_ : max_token + 1;
  std::size_t len = 0;
  while (len < n && !is_blank(first[len])) ++len;
  if (len > max_token) return false;
  t = std::string_view(first, len);
  pos_ += len;
  return true;
}

bool scanner::integer(long long& v) {
  if (!skip_blanks()) return false;
  if (end_ - pos_ < 24) refill(24);
  const char* p = buf_ + pos_;
  const char* last = buf_ + end_;
  bool negative = false;
  if (p < last && (*p == '-' || *p == '+')) negative = *p++ == '-';
  const char* digits = p;
  unsigned long long value = 0;
  while (p < last && *p >= '0' && *p <= '9' && p - digits < 18)
    value = value * 10 + unsigned(*p++ - '0');
  if (p == digits || (p < last && !is_blank(*p))) return false;
  v = negative ? -static_cast<long long>(value) : static_cast<long long>(value);
  pos_ += std::size_t(p - (buf_ + pos_));
  return true;
}

bool scanner::real(double& v) {
  std::string_view t;
  if (!token(t)) return false;
  const char* first = t.data();
  const char* last = first + t.size();
  if (first < last && *first == '+') ++first;
  const std::from_chars_result r = std::from_chars(first, last, v);
  if (first == last || r.ptr != last || r.ec == std::errc::invalid_argument) return false;
  if (r.ec == std::errc::result_out_of_range) {
    // Beyond the doubles: the C library's infinity or tiny value.
    char copy[max_token + 1];
    std::memcpy(copy, first, std::size_t(last - first));
    copy[last - first] = 0;
    v = std::strtod(copy, nullptr);
  }
  return true;
}

unsigned scanner::tokens_on_line() {
  if (!skip_blanks()) return 0;
  refill(cap_ < 65536 ? cap_ : 65536);
  unsigned n = 0;
  bool inside = false;
  for (std::size_t i = pos_; i < end_ && buf_[i] != '\n'; ++i) {
    const bool blank = is_blank(buf_[i]) || (comments_ && buf_[i] == '#');
    if (comments_ && buf_[i] == '#') break;
    n += !blank && !inside;
    inside = !blank;
  }
  return n;
}

bool scanner::skip_line() {
  for (;;) {
    const void* nl = std::memchr(buf_ + pos_, '\n', end_ - pos_);
    if (nl) {
      pos_ = std::size_t(static_cast<const char*>(nl) - buf_) + 1;
      return true;
    }
    pos_ = end_;
    if (!refill(1)) return false;
  }
}

bool scanner::bytes(void* out, std::size_t n) {
  unsigned char* o = static_cast<unsigned char*>(out);
  while (n) {
    if (pos_ == end_ && !refill(1)) return false;
    const std::size_t k = end_ - pos_ < n ? end_ - pos_ : n;
    std::memcpy(o, buf_ + pos_, k);
    o += k;
    pos_ += k;
    n -= k;
  }
  return true;
}

bool scanner::seek(std::uint64_t position) {
  if (position > size_) return false;
  if (position >= base_ && position <= base_ + end_) {
    pos_ = std::size_t(position - base_);
    return true;
  }
  if (!file_ || std::fseek(file_, long(position), SEEK_SET) != 0) return false;
  base_ = position;
  pos_ = end_ = 0;
  at_end_ = false;
  return true;
}

}  // namespace io
}  // namespace tessellix
}  // namespace qz4
