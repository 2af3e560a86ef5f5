// A hint to start loading memory that a loop will read a few steps later:
// walks over shuffled meshes jump to a new column at every step, and would
// otherwise wait for each one in turn.
#ifndef QZ4_TESSELLIX_CORE_PREFETCH_H
#define QZ4_TESSELLIX_CORE_PREFETCH_H

namespace qz4 {
namespace tessellix {
namespace detail {

/// How many steps ahead the walks ask for their columns.
constexpr unsigned prefetch_distance = 16;

inline void prefetch(const void* p) {
#if defined(__GNUC__)
  __builtin_prefetch(p);
#else
  (void)p;
#endif
}

}  // namespace detail
}  // namespace tessellix
}  // namespace qz4

#endif
