// Test control over the block allocator: make the k-th block allocation fail,
// so that every out-of-memory path of a service can be reached.
#ifndef QZ4_TEST_ALLOC_SEAM_H
#define QZ4_TEST_ALLOC_SEAM_H

#include <gtest/gtest.h>

#include <type_traits>

namespace qz4test {

/// While alive, block allocation number `k` (counted from 1 from the moment of
/// construction) and every later one fail, or with `only_k` that one alone
/// (memory short for a moment); k = 0 counts without failing.
class failing_allocator {
 public:
  explicit failing_allocator(unsigned k, bool only_k = false);
  ~failing_allocator();
  failing_allocator(const failing_allocator&) = delete;
  failing_allocator& operator=(const failing_allocator&) = delete;

  /// Allocations asked for since construction.
  unsigned calls() const;
  /// True when at least one allocation was refused.
  bool failed() const;
  /// True while an allocator refusing one allocation alone is alive.
  static bool only_one();
};

/// Runs `run(k)` with allocation k failing, for k = 1, 2, ..., until a run
/// asks for fewer than k allocations, first with every later one failing
/// too, then with k alone; returns the number of runs of the first kind.
/// `run` gets k and reports nothing: it checks its own status inside.
template <class F>
unsigned for_each_failing_allocation(F run) {
  unsigned runs = 0;
  for (bool only_k : {false, true})
    for (unsigned k = 1;; ++k) {
      failing_allocator seam(k, only_k);
      run(k);
      if (!seam.failed()) break;
      runs += !only_k;
    }
  return runs;
}

/// Runs `call` (given k, or nothing) with each allocation k failing in turn:
/// every run returns `ok` or -199, and at least one meets a refused
/// allocation; returns how many did. Checks of what a failed call leaves
/// behind go inside `call`.
template <class F>
unsigned expect_ok_or_out_of_memory(F call, int ok = 0) {
  unsigned refused = 0;
  for_each_failing_allocation([&](unsigned k) {
    int s;
    if constexpr (std::is_invocable_v<F, unsigned>)
      s = call(k);
    else
      s = call();
    refused += s == -199 && !failing_allocator::only_one();
    EXPECT_TRUE(s == ok || s == -199) << "status " << s << " with allocation " << k << " failing";
  });
  EXPECT_GT(refused, 0u);
  return refused;
}

/// As above for a call with outputs: `outputs()` gives them as one comparable
/// value. A run that succeeds must leave exactly what an unrefused run
/// leaves (never a shorter mesh), one that meets -199 must leave `cleared`.
template <class F, class O, class V>
unsigned expect_ok_or_out_of_memory(F call, int ok, O outputs, const V& cleared) {
  EXPECT_EQ(call(), ok);
  const auto whole = outputs();
  return expect_ok_or_out_of_memory(
      [&] {
        const int s = call();
        EXPECT_TRUE(s == ok ? outputs() == whole : s != -199 || outputs() == cleared)
            << "status " << s;
        return s;
      },
      ok);
}

}  // namespace qz4test

#endif
