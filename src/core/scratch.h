// Large uninitialised scratch arrays for the passes over whole meshes.
//
// Touching fresh memory costs a page fault per page, and on big meshes those
// faults can cost more than the work itself. Arrays of a huge page or more are
// therefore aligned to 2 MiB and, on Linux, offered to the kernel for huge
// pages, which take one fault where small pages take 512. Like a standard
// container, an allocation failure throws std::bad_alloc.
#ifndef QZ4_TESSELLIX_CORE_SCRATCH_H
#define QZ4_TESSELLIX_CORE_SCRATCH_H

#include <cstddef>
#include <cstdlib>
#include <new>
#include <type_traits>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace qz4 {
namespace tessellix {
namespace detail {

template <class T>
class scratch_array {
  static_assert(std::is_trivially_copyable<T>::value, "scratch holds plain records");

 public:
  explicit scratch_array(std::size_t n) : p_(nullptr) {
    const std::size_t bytes = (n ? n : 1) * sizeof(T);
    const std::size_t huge = std::size_t(1) << 21;
    if (bytes >= huge) {
      const std::size_t rounded = (bytes + huge - 1) / huge * huge;
      p_ = static_cast<T*>(std::aligned_alloc(huge, rounded));
#if defined(__linux__) && defined(MADV_HUGEPAGE)
      if (p_) madvise(static_cast<void*>(p_), rounded, MADV_HUGEPAGE);
#endif
    } else {
      p_ = static_cast<T*>(std::malloc(bytes));
    }
    if (!p_) throw std::bad_alloc();
  }
  ~scratch_array() { std::free(p_); }
  scratch_array(const scratch_array&) = delete;
  scratch_array& operator=(const scratch_array&) = delete;

  T& operator[](std::size_t i) { return p_[i]; }
  const T& operator[](std::size_t i) const { return p_[i]; }
  T* get() { return p_; }
  const T* get() const { return p_; }

 private:
  T* p_;
};

}  // namespace detail
}  // namespace tessellix
}  // namespace qz4

#endif
