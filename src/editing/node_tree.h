// The k-d tree behind node_detector and merge, its random generator and the
// seeded shuffle that fixes the shape of every tree.
//
// One tree entry per inserted node, no buckets. An entry at depth d splits on
// axis d % D at its own node's coordinate, read from the caller's matrix each
// time: nothing about positions is kept between operations, so a tree sees
// later changes of that matrix. Lower subtrees hold strictly smaller values
// on the split axis, upper subtrees equal or larger ones (and NaN).
#ifndef QZ4_EDITING_NODE_TREE_H
#define QZ4_EDITING_NODE_TREE_H

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <new>
#include <set>
#include <utility>
#include <vector>

#include "qz4/dense.h"
#include "qz4/element_type.h"
#include "qz4/fixed.h"

// Helpers that only ask for memory must be inlined where they are called:
// a function that does nothing but prefetch looks free of effects to the
// optimiser, which would then drop the calls.
#if defined(__GNUC__)
#define QZ4_INLINE __attribute__((always_inline)) inline
#else
#define QZ4_INLINE inline
#endif

namespace qz4 {
namespace tessellix {

/// MT19937 with the library's own seeding: x[0] = seed | 1 and
/// x[k] = 69069 x[k-1]. The first draw reloads the state; draws are the
/// standard tempered words. The fixed seeding is what makes every tree, and
/// therefore every tie-break of the searches, reproducible.
class mt_generator {
 public:
  explicit mt_generator(unsigned seed = 1) { reseed(seed); }

  void reseed(unsigned seed) {
    x_[0] = seed | 1u;
    for (unsigned k = 1; k < N; ++k) x_[k] = 69069u * x_[k - 1];
    next_ = N;
  }

  unsigned operator()() {
    if (next_ >= N) reload();
    unsigned y = x_[next_++];
    y ^= y >> 11;
    y ^= (y << 7) & 0x9D2C5680u;
    y ^= (y << 15) & 0xEFC60000u;
    return y ^ (y >> 18);
  }

 private:
  static constexpr unsigned N = 624, M = 397;
  static unsigned twist(unsigned u, unsigned v) {
    return (((u & 0x80000000u) | (v & 0x7FFFFFFFu)) >> 1) ^ ((v & 1u) ? 0x9908B0DFu : 0u);
  }
  void reload() {
    unsigned k = 0;
    for (; k < N - M; ++k) x_[k] = x_[k + M] ^ twist(x_[k], x_[k + 1]);
    for (; k < N - 1; ++k) x_[k] = x_[k + M - N] ^ twist(x_[k], x_[k + 1]);
    x_[N - 1] = x_[M - 1] ^ twist(x_[N - 1], x_[0]);
    next_ = 0;
  }
  unsigned x_[N];
  unsigned next_;
};

/// The one shuffle of the library, with a fresh generator of seed 1: the same
/// length always gives the same permutation, so trees built from the same
/// list are identical and sorted input still gives a near-balanced tree.
template <class T>
void seeded_shuffle(T* a, std::size_t n) {
  mt_generator gen(1);
  for (std::size_t i = 1; i < n; ++i) {
    const unsigned j = gen() % unsigned(i + 1);
    if (j != i) std::swap(a[i], a[j]);
  }
}

namespace detail {

/// A LIFO that lives on the stack for the depths of balanced trees and only
/// allocates for the long chains that coincident nodes make.
template <class T>
class search_stack {
 public:
  bool empty() const { return n_ == 0 && spill_.empty(); }
  void push(const T& v) {
    if (n_ < kInline)
      inline_[n_++] = v;
    else
      spill_.push_back(v);
  }
  T pop() {
    if (!spill_.empty()) {
      T v = spill_.back();
      spill_.pop_back();
      return v;
    }
    return inline_[--n_];
  }

 private:
  static constexpr unsigned kInline = 96;
  T inline_[kInline];
  unsigned n_ = 0;
  std::vector<T> spill_;
};

}  // namespace detail

template <unsigned D>
class node_tree {
  static_assert(D == 2 || D == 3, "trees are planar or spatial");

 public:
  explicit node_tree(const dense2D<double>* c) : coords(c), tab(nullptr), rng(1) {
    box_lo = 0.0;
    box_hi = 0.0;
  }
  node_tree(const node_tree&) = delete;
  node_tree& operator=(const node_tree&) = delete;

  const dense2D<double>* coords;  // the caller's matrix object, not owned
  dense2D<unsigned> table;        // (node, lower, upper) per entry; column 0 is the root
  unsigned* tab;                  // table.data(), refreshed whenever the table moves
  std::set<unsigned> free_slots;  // columns to reuse first; nothing fills it today
  mt_generator rng;
  vector_fixed<double, D> box_lo, box_hi;

  unsigned size() const { return table.cols(); }

  /// Room for n entries, so that a batch of known size never reallocates.
  void reserve(unsigned n) {
    if (table.capacity() / 3 < n) table.reserve(3, n);
    tab = table.data();
  }

  /// Takes over the table and free slots of another tree on the same kind of
  /// coordinates.
  bool copy_from(const node_tree& o) {
    coords = o.coords;
    free_slots = o.free_slots;
    const bool ok = table.copy(o.table);
    tab = table.data();
    return ok;
  }

  /// Inserts one node by walking down from the root. Returns false only for a
  /// node that is not a column of the coordinates.
  bool insert_one(unsigned node) {
    if (node >= coords->cols()) return false;
    const unsigned n = table.cols();
    unsigned slot;
    if (!free_slots.empty()) {
      slot = *free_slots.begin();
      free_slots.erase(free_slots.begin());
    } else {
      if (table.capacity() / 3 <= n) table.reserve(3, n * 2 > 8 ? n * 2 : 8);
      tab = table.data();
      // A table that cannot grow loses the node; the caller still counts it.
      if (!table.resize(3, n + 1)) return true;
      tab = table.data();
      slot = n;
    }
    unsigned* t = tab + 3 * std::size_t(slot);
    t[0] = node;
    t[1] = t[2] = NO_ID;
    if (n == 0) return true;
    const double* P = coords->data();
    const std::size_t ld = coords->ld();
    const double* x = P + node * ld;
    unsigned e = 0, axis = 0;
    for (;;) {
      unsigned* te = tab + 3 * std::size_t(e);
      const double s = P[te[0] * ld + axis];
      unsigned* link = (s > x[axis]) ? te + 1 : te + 2;
      if (*link >= n) {
        *link = slot;
        return true;
      }
      e = *link;
      axis = (axis + 1 == D) ? 0 : axis + 1;
    }
  }

  /// Inserts `seq` in its order and returns the number of nodes accepted.
  /// An empty tree is built top-down instead: the entries that insertion
  /// would send below an entry are exactly those after it, in order, that lie
  /// strictly below it on its axis, so a stable partition of the sequence
  /// around its first member yields the very same tree while reading the
  /// coordinates sequentially. Only the numbering of the table's columns
  /// differs (column 0 is still the root), which no answer depends on.
  unsigned long insert_sequence(const unsigned* seq, std::size_t n) {
    if (table.cols() == 0 && free_slots.empty() && n > 1 && build(seq, n)) return table.cols();
    unsigned long count = 0;
    for (std::size_t i = 0; i < n; ++i) count += insert_one(seq[i]) ? 1 : 0;
    return count;
  }

  /// Fetches ahead for the entries after e: the coordinates of its children,
  /// whose table words the visit of e's parent asked for, and the table words
  /// of its grandchildren. Searches are bound by memory latency, not work.
  QZ4_INLINE static void look_ahead(const unsigned* T, const double* P, std::size_t ld,
                                    const unsigned* te, unsigned n) {
    for (unsigned s = 1; s <= 2; ++s) {
      const unsigned c = te[s];
      if (c >= n) continue;
      const unsigned* tc = T + 3 * std::size_t(c);
      __builtin_prefetch(P + tc[0] * ld);
      if (tc[1] < n) __builtin_prefetch(T + 3 * std::size_t(tc[1]));
      if (tc[2] < n) __builtin_prefetch(T + 3 * std::size_t(tc[2]));
    }
  }

  /// The closest node to q, other than `skip`; NO_ID for an empty tree.
  /// Among nodes at one distance the first met wins: the descent path first,
  /// then the pre-order walk taking the upper side first, with the radius
  /// tests of that walk deciding which subtrees it enters.
  ///
  /// That walk restarts from the root with whatever radius the descent left,
  /// and so reads far more entries than needed. The answer is found instead
  /// by a nearer-side-first search for every entry at the smallest distance,
  /// and then told apart as the walk would (see settle). Where that cannot be
  /// told cheaply, or q is not finite, the walk itself gives the answer.
  /// Both searches leave out regions by the tree's order, which holds as
  /// long as no node has moved across a split above it.
  unsigned find_closest(const double* q, unsigned skip) const {
    if (table.cols() == 0) return NO_ID;
    bool finite = true;
    for (unsigned k = 0; k < D; ++k) finite = finite && std::isfinite(q[k]);
    if (finite) {
      nearest_set r;
      if (nearest(q, skip, r)) {
        const unsigned found = settle(q, r);
        if (found != kUndecided) return found;
      }
    }
    return walk_closest(q, skip);
  }

  /// Calls f(node) for every entry inside the closed box [lo, hi], in
  /// pre-order, lower side first.
  template <class F>
  void walk_box(const double* lo, const double* hi, F&& f) const {
    const unsigned n = table.cols();
    if (n == 0) return;
    const double* P = coords->data();
    const std::size_t ld = coords->ld();
    const unsigned* T = tab;
    struct frame {
      unsigned e, axis;
    };
    detail::search_stack<frame> stack;
    unsigned e = 0, axis = 0;
    for (;;) {
      while (e < n) {
        const unsigned* te = T + 3 * std::size_t(e);
        look_ahead(T, P, ld, te, n);
        const double* p = P + te[0] * ld;
        const bool go_lower = lo[axis] <= p[axis];
        const bool go_upper = hi[axis] >= p[axis];
        if (go_lower && go_upper && in_box(p, lo, hi)) f(te[0]);
        const unsigned next = (axis + 1 == D) ? 0 : axis + 1;
        const unsigned lower = go_lower ? te[1] : NO_ID;
        const unsigned upper = go_upper ? te[2] : NO_ID;
        if (lower < n) {
          if (upper < n) stack.push(frame{upper, next});
          e = lower;
        } else {
          e = upper;
        }
        axis = next;
      }
      if (stack.empty()) break;
      const frame f2 = stack.pop();
      e = f2.e;
      axis = f2.axis;
    }
  }

  /// The box walk on the tree's own box fields, appending to `found`.
  void find_in_box(dense1D<unsigned>& found) const {
    walk_box(box_lo.data(), box_hi.data(), [&found](unsigned node) { found.push_back(node); });
  }

  static double dist2(const double* p, const double* q) {
    double s = 0;
    for (unsigned k = 0; k < D; ++k) {
      const double d = p[k] - q[k];
      s += d * d;
    }
    return s;
  }

 private:
  static constexpr unsigned kTies = 16;
  static constexpr unsigned kUndecided = NO_ID - 1;
  static constexpr unsigned kBlockLevels = 4;

  /// The entries at the smallest squared distance from a point, in the
  /// order the nearer-side-first search met them.
  struct nearest_set {
    double best2;
    unsigned count;
    bool overflow;  // more ties than `col` holds
    bool on_path;   // col[0] lies on the descent path
    unsigned col[kTies];
  };

  /// Every entry other than `skip` at the smallest squared distance from q,
  /// the nearer side of each entry first. A subtree is left out only when the
  /// rounded sum of squares of how far q lies outside its region on each
  /// axis, added in the order dist2 adds, exceeds the best: rounding is
  /// monotone, so that sum never exceeds the distance of a node inside, and
  /// every tie is kept. False when no node lies below DBL_MAX.
  bool nearest(const double* q, unsigned skip, nearest_set& r) const {
    const unsigned n = table.cols();
    const unsigned* T = tab;
    const double* P = coords->data();
    const std::size_t ld = coords->ld();
    r.best2 = DBL_MAX;
    r.count = 0;
    r.overflow = false;
    r.on_path = false;
    struct frame {
      unsigned e, axis;
      double b;
      double gap[D];
    };
    detail::search_stack<frame> stack;
    double gap[D];
    for (unsigned k = 0; k < D; ++k) gap[k] = 0;
    unsigned e = 0, axis = 0;
    bool dive = true;  // the first way down is the descent path
    for (;;) {
      while (e < n) {
        const unsigned* te = T + 3 * std::size_t(e);
        look_ahead(T, P, ld, te, n);
        const unsigned node = te[0];
        const double* p = P + node * ld;
        const double d2 = dist2(p, q);
        if (d2 <= r.best2 && node != skip) {
          if (d2 < r.best2) {
            r.best2 = d2;
            r.col[0] = e;
            r.count = 1;
            r.overflow = false;
            r.on_path = dive;
          } else if (r.count != 0) {
            if (r.count < kTies)
              r.col[r.count++] = e;
            else
              r.overflow = true;
          }
        }
        // The lower region holds coordinates below s, the upper one s and
        // above; the side q lies on is searched at once.
        const double s = p[axis];
        const bool below = q[axis] < s;
        const unsigned near_side = below ? te[1] : te[2];
        const unsigned far_side = below ? te[2] : te[1];
        const unsigned next = (axis + 1 == D) ? 0 : axis + 1;
        if (far_side < n) {
          frame f;
          f.e = far_side;
          f.axis = next;
          for (unsigned k = 0; k < D; ++k) f.gap[k] = gap[k];
          f.gap[axis] = std::max(gap[axis], std::fabs(q[axis] - s));
          f.b = bound(f.gap);
          if (f.b <= r.best2) stack.push(f);
        }
        e = near_side;
        axis = next;
      }
      dive = false;
      for (;;) {
        if (stack.empty()) return r.count != 0;
        const frame f = stack.pop();
        if (f.b <= r.best2) {
          e = f.e;
          axis = f.axis;
          for (unsigned k = 0; k < D; ++k) gap[k] = f.gap[k];
          break;
        }
      }
    }
  }

  /// The node the upper-first walk answers, given every entry at the
  /// smallest distance; kUndecided when that cannot be told cheaply.
  ///
  /// An entry at the smallest distance on the descent path is met first of
  /// all. Any other one is met by the walk if every radius test on the way
  /// down to it passes with the smallest radius, and the cube test at it
  /// too: the walk's radius never falls below that one, and the tests only
  /// pass more easily with a larger radius. The way down to an entry is the
  /// way its node was inserted. Among entries met, the first in the walk's
  /// pre-order wins.
  unsigned settle(const double* q, const nearest_set& r) const {
    const unsigned* T = tab;
    if (r.on_path) return T[3 * std::size_t(r.col[0])];
    if (r.overflow) return kUndecided;
    const unsigned n = table.cols();
    const double* P = coords->data();
    const std::size_t ld = coords->ld();
    const double b = std::sqrt(r.best2);
    unsigned first = NO_ID;
    for (unsigned i = 0; i < r.count; ++i) {
      const unsigned c = r.col[i];
      const double* x = P + T[3 * std::size_t(c)] * ld;
      unsigned e = 0, axis = 0;
      while (e != c) {
        if (e >= n) return kUndecided;
        const unsigned* te = T + 3 * std::size_t(e);
        const double s = P[te[0] * ld + axis];
        if (s > x[axis]) {
          if (!(q[axis] - b < s)) return kUndecided;
          e = te[1];
        } else {
          if (!(q[axis] + b > s)) return kUndecided;
          e = te[2];
        }
        axis = (axis + 1 == D) ? 0 : axis + 1;
      }
      if (!in_ball_box(x, q, b)) return kUndecided;
      if (first == NO_ID || comes_first(c, first)) first = c;
    }
    return T[3 * std::size_t(first)];
  }

  /// Whether entry a precedes entry b in the pre-order that takes the upper
  /// side first, for two entries that can be reached by their insertion
  /// ways: the ways part at an entry where a goes up and b down, or a is
  /// met on the way to b.
  bool comes_first(unsigned a, unsigned b) const {
    const unsigned* T = tab;
    const double* P = coords->data();
    const std::size_t ld = coords->ld();
    const double* xa = P + T[3 * std::size_t(a)] * ld;
    const double* xb = P + T[3 * std::size_t(b)] * ld;
    for (unsigned e = 0, axis = 0;; axis = (axis + 1 == D) ? 0 : axis + 1) {
      if (e == a) return true;
      if (e == b) return false;
      const unsigned* te = T + 3 * std::size_t(e);
      const double s = P[te[0] * ld + axis];
      const bool a_down = s > xa[axis], b_down = s > xb[axis];
      if (a_down != b_down) return b_down;
      e = a_down ? te[1] : te[2];
    }
  }

  /// The upper-first walk itself, for the cases settle leaves open.
  ///
  /// Besides the walk's own tests, a subtree is left out when every node in
  /// it is provably no closer than the best so far, by the same rounded
  /// bound as in nearest, but strictly: such a subtree holds no node the
  /// walk would take, so leaving it out changes no answer and no tie-break.
  unsigned walk_closest(const double* q, unsigned skip) const {
    const unsigned n = table.cols();
    const double* P = coords->data();
    const std::size_t ld = coords->ld();
    const unsigned* T = tab;
    unsigned found = NO_ID;
    double best2 = DBL_MAX;
    for (unsigned e = 0, axis = 0; e < n; axis = (axis + 1 == D) ? 0 : axis + 1) {
      const unsigned* te = T + 3 * std::size_t(e);
      look_ahead(T, P, ld, te, n);
      const unsigned node = te[0];
      const double* p = P + node * ld;
      if (node != skip) {
        const double d2 = dist2(p, q);
        if (d2 < best2) {
          best2 = d2;
          found = node;
        }
      }
      e = (p[axis] > q[axis]) ? te[1] : te[2];
    }
    double best = DBL_MAX;
    if (found != NO_ID) {
      best2 = dist2(P + found * ld, q);
      best = std::sqrt(best2);
    } else {
      best2 = DBL_MAX;
    }
    if (!(best > 0)) return found;

    struct frame {
      unsigned e, axis;
      double s;
      double gap[D];
    };
    detail::search_stack<frame> stack;
    double gap[D];
    for (unsigned k = 0; k < D; ++k) gap[k] = 0;
    unsigned e = 0, axis = 0;
    for (;;) {
      while (e < n) {
        const unsigned* te = T + 3 * std::size_t(e);
        look_ahead(T, P, ld, te, n);
        const unsigned node = te[0];
        const double* p = P + node * ld;
        if (node != skip && in_ball_box(p, q, best)) {
          const double d2 = dist2(p, q);
          if (d2 < best2) {
            best2 = d2;
            best = std::sqrt(d2);
            found = node;
          }
        }
        const double s = p[axis];
        const unsigned next = (axis + 1 == D) ? 0 : axis + 1;
        const double here = gap[axis];
        const double gap_lower = q[axis] >= s ? std::max(here, q[axis] - s) : here;
        const double gap_upper = q[axis] < s ? std::max(here, s - q[axis]) : here;
        const unsigned col = e;
        e = NO_ID;
        if (q[axis] + best > s) {
          frame f{col, axis, s, {}};
          for (unsigned k = 0; k < D; ++k) f.gap[k] = gap[k];
          f.gap[axis] = gap_lower;
          stack.push(f);
          gap[axis] = gap_upper;
          if (bound(gap) < best2) e = te[2];
        } else if (q[axis] - best < s) {
          gap[axis] = gap_lower;
          if (bound(gap) < best2) e = te[1];
        }
        axis = next;
      }
      if (stack.empty()) break;
      // The lower side is decided with the radius as the upper side left it.
      const frame f = stack.pop();
      if (q[f.axis] - best < f.s && bound(f.gap) < best2) {
        e = T[3 * std::size_t(f.e) + 1];
        axis = (f.axis + 1 == D) ? 0 : f.axis + 1;
        for (unsigned k = 0; k < D; ++k) gap[k] = f.gap[k];
      }
    }
    return found;
  }

  static double bound(const double* gap) {
    double b = 0;
    for (unsigned k = 0; k < D; ++k) b += gap[k] * gap[k];
    return b;
  }

  static bool in_box(const double* p, const double* lo, const double* hi) {
    for (unsigned k = 0; k < D; ++k)
      if (!(lo[k] <= p[k]) || !(hi[k] >= p[k])) return false;
    return true;
  }
  // The cube of half-side r around q: the lower faces on every axis first,
  // then the upper ones.
  static bool in_ball_box(const double* p, const double* q, double r) {
    for (unsigned k = 0; k < D; ++k)
      if (!(q[k] - r <= p[k])) return false;
    for (unsigned k = 0; k < D; ++k)
      if (!(q[k] + r >= p[k])) return false;
    return true;
  }

  struct record {
    double x[D];
    unsigned node;
  };

  // Top-down construction of an empty tree. False when scratch could not be
  // had, so that the caller falls back to insertion one by one.
  bool build(const unsigned* seq, std::size_t n) {
    const unsigned cols = coords->cols();
    std::size_t m = 0;
    for (std::size_t i = 0; i < n; ++i) m += seq[i] < cols ? 1 : 0;
    if (m == 0) return true;
    if (m > 0xFFFFFFFFu / 3) return false;
    reserve(unsigned(m));
    if (!table.resize(3, unsigned(m))) return false;
    tab = table.data();
    std::vector<record> rec, tmp;
    try {
      rec.resize(m);
      tmp.resize(m);
    } catch (const std::bad_alloc&) {
      table.resize(3, 0);
      return false;
    }
    const double* P = coords->data();
    const std::size_t ld = coords->ld();
    unsigned c = 0;
    for (std::size_t i = 0; i < n; ++i) {
      const unsigned node = seq[i];
      if (node >= cols) continue;
      record& r = rec[c++];
      const double* p = P + node * ld;
      for (unsigned k = 0; k < D; ++k) r.x[k] = p[k];
      r.node = node;
    }
    // Columns are numbered in blocks: the top kBlockLevels levels of a
    // subtree take consecutive columns, so that a search going down four
    // levels reads one short run of the table instead of four scattered
    // words; the subtrees below a block make blocks of their own.
    unsigned next_col = 0;
    struct task {
      unsigned b, e, axis, parent_link, level;
    };
    std::vector<task> todo, inner;
    todo.push_back(task{0, unsigned(m), 0, NO_ID, 0});
    record* R = rec.data();
    record* Tm = tmp.data();
    while (!todo.empty()) {
      inner.push_back(todo.back());
      todo.pop_back();
      while (!inner.empty()) {
        task k = inner.back();
        inner.pop_back();
        while (k.b < k.e) {
          if (k.level == kBlockLevels) {
            k.level = 0;
            todo.push_back(k);
            break;
          }
          const record root = R[k.b];
          const unsigned col = next_col++;
          unsigned* t = tab + 3 * std::size_t(col);
          t[0] = root.node;
          t[1] = t[2] = NO_ID;
          if (k.parent_link != NO_ID) tab[k.parent_link] = col;
          const double s = root.x[k.axis];
          unsigned w = k.b + 1, u = 0;
          for (unsigned i = k.b + 1; i < k.e; ++i) {
            if (R[i].x[k.axis] < s)
              R[w++] = R[i];
            else
              Tm[u++] = R[i];
          }
          for (unsigned i = 0; i < u; ++i) R[w + i] = Tm[i];
          const unsigned next = (k.axis + 1 == D) ? 0 : k.axis + 1;
          if (w > k.b + 1) inner.push_back(task{k.b + 1, w, next, 3 * col + 1, k.level + 1});
          k = task{w, k.e, next, 3 * col + 2, k.level + 1};
        }
      }
    }
    return true;
  }
};

}  // namespace tessellix
}  // namespace qz4

#undef QZ4_INLINE

#endif
