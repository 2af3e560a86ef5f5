// Messages, progress and the account of memory.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "tool.h"

namespace cli {

bool quiet = false;

void fail(int status, const std::string& message) { throw failure{status, message}; }

void note(const std::string& text) {
  if (!quiet) std::fprintf(stderr, "tessellix: note: %s\n", text.c_str());
}

std::string format(const char* fmt, ...) {
  va_list args, again;
  va_start(args, fmt);
  va_copy(again, args);
  const int n = std::vsnprintf(nullptr, 0, fmt, args);
  va_end(args);
  std::string s(n > 0 ? std::size_t(n) : 0, '\0');
  if (n > 0) std::vsnprintf(&s[0], s.size() + 1, fmt, again);
  va_end(again);
  return s;
}

stage::stage(const char* name) : name_(name), start_(std::chrono::steady_clock::now()) {}

void stage::done(const std::string& what) {
  static const bool on = isatty(STDERR_FILENO);
  if (!on || quiet) return;
  const std::chrono::duration<double> t = std::chrono::steady_clock::now() - start_;
  std::fprintf(stderr, "%-9s %s  %.2f s\n", name_, what.c_str(), t.count());
}

namespace {

unsigned long refused = 0;
unsigned largest_refused = 0;

// The library's storage blocks: large ones on huge pages, as the library's
// own allocator does, with every refusal counted.
char* allocate(unsigned bytes) {
  constexpr unsigned huge = 2u << 20;
  void* p = nullptr;
  if (bytes >= huge) {
    if (posix_memalign(&p, huge, bytes) == 0)
      madvise(p, bytes, MADV_HUGEPAGE);
    else
      p = nullptr;
  } else {
    p = std::malloc(bytes);
  }
  if (!p) {
    ++refused;
    if (bytes > largest_refused) largest_refused = bytes;
  }
  return static_cast<char*>(p);
}

void release(char* p) { std::free(p); }

}  // namespace

void watch_memory() { qz4::set_block_allocator(allocate, release); }

std::string memory_words() {
  if (refused)
    return format("the machine's memory ran out (a block of %.1f MB was refused)",
                  largest_refused / 1048576.0);
  // A block past 4 GB is refused before any allocator is asked.
  return "past the library's size limit: one matrix block holds at most 4 GB (its byte count is "
         "32-bit), so at most 178956969 nodes in 3D, 59652323 triangles of a binary STL or "
         "1073741823 node numbers in one connectivity fit";
}

void check_status(int status, const std::string& doing) {
  if (status >= 0) return;
  if (status == -199) fail(file_error, doing + ": " + memory_words());
  fail(file_error, format("%s: the library refused the mesh (status %d)", doing.c_str(), status));
}

}  // namespace cli
