// The block allocator behind every storage block, and the block types the
// library relies on, instantiated here so that each of them is compiled.
#include <atomic>
#include <cstdlib>
#include <utility>

#if defined(__linux__)
#include <sys/mman.h>
#endif

#include "qz4/dense.h"

namespace qz4 {
namespace {

// Blocks of a huge page or more (coordinates and connectivities of big
// meshes, read at random through the numbering, and the steps by which
// readers grow them) start on a huge-page boundary and ask for huge pages:
// far fewer address translations miss, and far fewer page faults are taken,
// which a first call in a process pays for every page it touches.
char* default_allocate(unsigned bytes) {
#if defined(__linux__)
  constexpr unsigned huge = 2u << 20;
  if (bytes >= huge) {
    void* p = nullptr;
    if (posix_memalign(&p, huge, bytes) != 0) return nullptr;
    madvise(p, bytes, MADV_HUGEPAGE);
    return static_cast<char*>(p);
  }
#endif
  return static_cast<char*>(std::malloc(bytes));
}
void default_release(char* p) { std::free(p); }

// Atomic so that a host may install its pair while another thread only reads
// it; swapping pairs under live blocks is still the caller's business.
std::atomic<char* (*)(unsigned)> allocate_fn{default_allocate};
std::atomic<void (*)(char*)> release_fn{default_release};

}  // namespace

char* __vector_num_alloc(unsigned bytes) {
  return allocate_fn.load(std::memory_order_acquire)(bytes);
}

void __vector_num_free(char* p) {
  if (p) release_fn.load(std::memory_order_acquire)(p);
}

void set_block_allocator(char* (*allocate)(unsigned bytes), void (*release)(char*)) {
  if (!allocate || !release) {
    allocate = default_allocate;
    release = default_release;
  }
  allocate_fn.store(allocate, std::memory_order_release);
  release_fn.store(release, std::memory_order_release);
}

template class vector_num<unsigned>;
template class vector_num<int>;
template class vector_num<double>;
template class vector_num<short>;
template class vector_num<signed char>;
template class vector_num<std::pair<unsigned, unsigned> >;
template class vector_num<std::pair<unsigned, unsigned>*>;
template class vector_num<dense1D<std::pair<unsigned, unsigned> > >;
template class vector_num<dense2D<unsigned> >;

}  // namespace qz4
