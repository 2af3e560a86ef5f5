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
#include <set>
#include <utility>
#include <vector>

#include "qz4/dense.h"
#include "qz4/element_type.h"
#include "qz4/fixed.h"

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
  /// differs (column 0 is still the root), which no search can see.
  unsigned long insert_sequence(const unsigned* seq, std::size_t n) {
    if (table.cols() == 0 && free_slots.empty() && n > 1 && build(seq, n)) return table.cols();
    unsigned long count = 0;
    for (std::size_t i = 0; i < n; ++i) count += insert_one(seq[i]) ? 1 : 0;
    return count;
  }

  /// Fetches ahead for the entries after e: the coordinates of its children,
  /// whose table words the visit of e's parent asked for, and the table words
  /// of its grandchildren. Searches are bound by memory latency, not work.
  static void look_ahead(const unsigned* T, const double* P, std::size_t ld, const unsigned* te,
                         unsigned n) {
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
  /// then the pre-order walk taking the upper side first.
  unsigned find_closest(const double* q, unsigned skip) const {
    const unsigned n = table.cols();
    if (n == 0) return NO_ID;
    const double* P = coords->data();
    const std::size_t ld = coords->ld();
    const unsigned* T = tab;
    unsigned found = NO_ID;
    double best2 = DBL_MAX;
    for (unsigned e = 0, axis = 0; e < n; axis = (axis + 1 == D) ? 0 : axis + 1) {
      look_ahead(T, P, ld, T + 3 * std::size_t(e), n);
      const unsigned node = T[3 * std::size_t(e)];
      const double* p = P + node * ld;
      if (node != skip) {
        const double d2 = dist2(p, q);
        if (d2 < best2) {
          best2 = d2;
          found = node;
        }
      }
      e = (p[axis] > q[axis]) ? T[3 * std::size_t(e) + 1] : T[3 * std::size_t(e) + 2];
    }
    double best = DBL_MAX;
    if (found != NO_ID) {
      best2 = dist2(P + found * ld, q);
      best = std::sqrt(best2);
    } else {
      best2 = DBL_MAX;
    }
    if (!(best > 0)) return found;

    // Besides the walk's own tests, a subtree is left out when every node in
    // it is provably no closer than the best so far: `gap` holds, per axis,
    // how far q lies outside the subtree's region, and the rounded sum of
    // their squares, in the order dist2 adds them, cannot exceed any node's
    // rounded squared distance. Such a subtree holds no node that the walk
    // would take, so leaving it out changes no answer and no tie-break.
    struct frame {
      unsigned e, axis;
      double s;
      double gap[D];
    };
    auto bound = [](const double* gap) {
      double b = 0;
      for (unsigned k = 0; k < D; ++k) b += gap[k] * gap[k];
      return b;
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
        // Lower region: coordinates below s; upper: s and above.
        const double gap_lower = q[axis] >= s ? std::max(here, q[axis] - s) : here;
        const double gap_upper = q[axis] < s ? std::max(here, s - q[axis]) : here;
        e = NO_ID;
        if (q[axis] + best > s) {
          frame f{static_cast<unsigned>(te - T) / 3, axis, s, {}};
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
    // Columns are numbered in the order the entries are made here: the
    // pre-order with the upper side first, the order in which find_closest
    // walks, so that an entry and its upper child share cache lines.
    unsigned next_col = 0;
    struct task {
      unsigned b, e, axis, parent_link;
    };
    std::vector<task> todo;
    todo.push_back(task{0, unsigned(m), 0, NO_ID});
    record* R = rec.data();
    record* Tm = tmp.data();
    while (!todo.empty()) {
      task k = todo.back();
      todo.pop_back();
      while (k.b < k.e) {
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
        if (w > k.b + 1) todo.push_back(task{k.b + 1, w, next, 3 * col + 1});
        k = task{w, k.e, next, 3 * col + 2};
      }
    }
    return true;
  }
};

}  // namespace tessellix
}  // namespace qz4

#endif
