// Node index utilities: ID ranges and checks, renumbering, distinct IDs,
// matching of two numberings, bounding boxes.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "core/hash.h"
#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {

namespace {

// Calls f(column pointer) for every column of a non-empty matrix view.
template <class M, class F>
void for_columns(M& m, F f) {
  auto* p = m.data();
  const std::size_t ld = m.ld();
  for (unsigned j = 0, n = m.cols(); j < n; ++j, p += ld) f(p);
}

bool entries_below(const unsigned* p, unsigned n, unsigned node_count) {
  for (unsigned i = 0; i < n; ++i)
    if (p[i] != NO_ID && p[i] >= node_count) return false;
  return true;
}

// A column of an ET_FACE_MIXED matrix: all entries below node_count, except a
// NO_ID in row 3, which closes a triangle.
bool face_column_ok(const unsigned* c, unsigned rows, unsigned node_count) {
  for (unsigned r = 0; r < rows; ++r) {
    if (c[r] < node_count) continue;
    return r == 3 && c[r] == NO_ID;
  }
  return true;
}

// A column of an ET_SOLID_MIXED matrix: the first NO_ID may stand in row 4, 5
// or 6, and then every row behind it is NO_ID too.
bool solid_column_ok(const unsigned* c, unsigned rows, unsigned node_count) {
  for (unsigned r = 0; r < rows; ++r) {
    if (c[r] < node_count) continue;
    if (c[r] != NO_ID || r < 4 || r > 6) return false;
    for (unsigned k = r + 1; k < rows; ++k)
      if (c[k] != NO_ID) return false;
    return true;
  }
  return true;
}

template <class T>
void scatter(dense1D<T>& values, const dense1D<unsigned>& perm) {
  if (values.empty()) return;
  const unsigned size = values.size();
  const unsigned n = std::min(size, perm.size());
  std::vector<T> t(values.begin(), values.end());
  const T* v = values.data();
  const unsigned* p = perm.data();
  for (unsigned i = 0; i < n; ++i)
    if (p[i] < size && p[i] != i) t[p[i]] = v[i];
  std::copy(t.begin(), t.end(), values.data());
}

// Rotates a polygon's node list so that its largest entry (the first of
// equals) comes first.
void rotate_largest_first(std::vector<unsigned>& c) {
  if (c.empty()) return;
  std::rotate(c.begin(), std::max_element(c.begin(), c.end()), c.end());
}

unsigned column_sum(const unsigned* c, unsigned rows) {
  unsigned s = 0;
  for (unsigned r = 0; r < rows; ++r) s += c[r];
  return s;
}

template <unsigned D>
void grow_box(const double* p, vector_fixed<double, D>& lo, vector_fixed<double, D>& hi) {
  for (unsigned k = 0; k < D; ++k) {
    if (p[k] < lo[k]) lo[k] = p[k];
    if (p[k] > hi[k]) hi[k] = p[k];
  }
}

template <unsigned D>
int box_of_all(const dense2D<double>& pos, vector_fixed<double, D>& lo,
               vector_fixed<double, D>& hi) {
  if (pos.rows() != D) return -1;
  for_columns(pos, [&](const double* p) { grow_box<D>(p, lo, hi); });
  return 0;
}

template <unsigned D>
int box_of_ids(const dense2D<double>& pos, const dense1D<unsigned>& ids,
               vector_fixed<double, D>& lo, vector_fixed<double, D>& hi) {
  if (ids.empty()) return 0;
  if (pos.rows() != D) return -1;
  if (!check_IDs(ids, pos.cols())) return -2;
  const double* base = pos.data();
  const std::size_t ld = pos.ld();
  for (unsigned id : ids) grow_box<D>(base + id * ld, lo, hi);
  return 0;
}

template <unsigned D>
int box_of_connectivity(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                        vector_fixed<double, D>& lo, vector_fixed<double, D>& hi) {
  dense1D<unsigned> ids;
  unique_indices(ids, connectivity);
  return box_of_ids<D>(pos, ids, lo, hi);
}

}  // namespace

const char* version() { return "4.2"; }

unsigned max_ID(const dense1D<unsigned>& ids) {
  if (ids.empty()) return NO_ID;
  unsigned m = 0;
  for (unsigned v : ids)
    if (v != NO_ID && v > m) m = v;
  return m;
}

unsigned max_ID(const dense2D<unsigned>& connectivity) {
  if (connectivity.empty()) return NO_ID;
  unsigned m = 0;
  const unsigned rows = connectivity.rows();
  for_columns(connectivity, [&](const unsigned* c) {
    for (unsigned r = 0; r < rows; ++r)
      if (c[r] != NO_ID && c[r] > m) m = c[r];
  });
  return m;
}

bool check_IDs(const dense1D<unsigned>& ids, unsigned node_count) {
  if (ids.empty() || node_count == NO_ID) return true;
  return entries_below(ids.data(), ids.size(), node_count);
}

bool check_IDs(const dense2D<unsigned>& connectivity, unsigned node_count) {
  if (connectivity.empty() || node_count == NO_ID) return true;
  const unsigned rows = connectivity.rows();
  const unsigned* c = connectivity.data();
  const std::size_t ld = connectivity.ld();
  for (unsigned j = 0, n = connectivity.cols(); j < n; ++j, c += ld)
    if (!entries_below(c, rows, node_count)) return false;
  return true;
}

bool check_IDs(const dense2D<unsigned>& connectivity, element_type type, unsigned node_count) {
  if (connectivity.empty()) return true;
  const unsigned rows = connectivity.rows();
  bool (*column_ok)(const unsigned*, unsigned, unsigned) = nullptr;
  if (type == ET_FACE_MIXED) {
    if (rows != 3 && rows != 4) return false;
    column_ok = face_column_ok;
  } else if (type == ET_SOLID_MIXED) {
    if (rows != 4 && rows != 5 && rows != 6 && rows != 8) return false;
    column_ok = solid_column_ok;
  } else {
    if (node_count == NO_ID) return true;
    if (rows != element_nodes[type]) return false;
    column_ok = [](const unsigned* c, unsigned n, unsigned count) {
      for (unsigned r = 0; r < n; ++r)
        if (c[r] >= count) return false;
      return true;
    };
  }
  const unsigned* c = connectivity.data();
  const std::size_t ld = connectivity.ld();
  for (unsigned j = 0, n = connectivity.cols(); j < n; ++j, c += ld)
    if (!column_ok(c, rows, node_count)) return false;
  return true;
}

int shift_indices(dense1D<unsigned>& ids, int shift) {
  if (shift == 0 || ids.empty()) return 0;
  const unsigned s = unsigned(shift);
  for (unsigned& v : ids)
    if (v != NO_ID) v += s;
  return 0;
}

int shift_indices(dense2D<unsigned>& connectivity, int shift, element_type type) {
  if (shift == 0 || connectivity.empty()) return 0;
  const unsigned s = unsigned(shift);
  const unsigned rows = connectivity.rows();
  const bool keep_padding = type == ET_FACE_MIXED || type == ET_SOLID_MIXED;
  for_columns(connectivity, [&](unsigned* c) {
    for (unsigned r = 0; r < rows; ++r)
      if (!keep_padding || c[r] != NO_ID) c[r] += s;
  });
  return 0;
}

void change_indices(dense1D<unsigned>& ids, const dense1D<unsigned>& new_ids) {
  const unsigned n = new_ids.size();
  const unsigned* map = new_ids.data();
  for (unsigned& v : ids)
    if (v < n) v = map[v];
}

void change_indices(dense2D<unsigned>& connectivity, const dense1D<unsigned>& new_ids) {
  if (connectivity.empty()) return;
  const unsigned n = new_ids.size();
  const unsigned* map = new_ids.data();
  const unsigned rows = connectivity.rows();
  for_columns(connectivity, [&](unsigned* c) {
    for (unsigned r = 0; r < rows; ++r)
      if (c[r] < n) c[r] = map[c[r]];
  });
}

void permutation(dense1D<unsigned>& values, const dense1D<unsigned>& perm) {
  scatter(values, perm);
}

void permutation(dense1D<double>& values, const dense1D<unsigned>& perm) { scatter(values, perm); }

int unique_indices(dense1D<unsigned>& out, const dense2D<unsigned>* first,
                   const dense2D<unsigned>* last) {
  if (first == last) return 0;
  if (first > last) return -3;
  std::uint64_t estimate = out.size();
  for (const dense2D<unsigned>* m = first; m != last; ++m) estimate += m->cols();
  out.reserve(unsigned(std::min<std::uint64_t>(estimate, 0xFFFFFFFFu)), 1);
  detail::uint_set seen(std::size_t(estimate - out.size()));
  for (const dense2D<unsigned>* m = first; m != last; ++m) {
    if (m->empty()) continue;
    const unsigned rows = m->rows();
    for_columns(*m, [&](const unsigned* c) {
      for (unsigned r = 0; r < rows; ++r)
        if (seen.insert(c[r])) out.push_back(c[r]);
    });
  }
  return 0;
}

int unique_indices(dense1D<unsigned>& out, const dense2D<unsigned>& connectivity) {
  return unique_indices(out, &connectivity, &connectivity + 1);
}

int unique_indices(dense1D<unsigned>& out, const dense1D<unsigned>& ids,
                   const dense1D<unsigned>& excluded) {
  if (ids.empty()) return 0;
  out.reserve(
      unsigned(std::min<std::uint64_t>(std::uint64_t(out.size()) + ids.size(), 0xFFFFFFFFu)), 1);
  detail::uint_set seen(ids.size() + excluded.size());
  for (unsigned v : excluded) seen.insert(v);
  for (unsigned v : ids)
    if (seen.insert(v)) out.push_back(v);
  return 0;
}

int unique_indices(dense1D<unsigned>& out, const dense1D<unsigned>& ids) {
  return unique_indices(out, ids, dense1D<unsigned>());
}

int count_unique_indices(const dense2D<unsigned>* first, const dense2D<unsigned>* last) {
  if (first == last) return 0;
  if (first > last) return -2;
  std::size_t estimate = 0;
  for (const dense2D<unsigned>* m = first; m != last; ++m) estimate += m->cols();
  detail::uint_set seen(estimate);
  for (const dense2D<unsigned>* m = first; m != last; ++m) {
    if (m->empty()) continue;
    const unsigned rows = m->rows();
    for_columns(*m, [&](const unsigned* c) {
      for (unsigned r = 0; r < rows; ++r) seen.insert(c[r]);
    });
  }
  return int(seen.size());
}

int count_unique_indices(const dense2D<unsigned>& connectivity) {
  return count_unique_indices(&connectivity, &connectivity + 1);
}

int get_IDs(const dense1D<unsigned>& a, const dense1D<unsigned>& b, dense1D<unsigned>& b_to_a,
            dense1D<unsigned>& a_to_b) {
  b_to_a.clear();
  a_to_b.clear();
  if (!b_to_a.resize(b.size(), NO_ID) || !a_to_b.resize(a.size(), NO_ID)) {
    b_to_a.clear();
    a_to_b.clear();
    return -199;
  }
  detail::uint_map where(a.size());
  const unsigned* pa = a.data();
  for (unsigned i = 0, n = a.size(); i < n; ++i)
    if (pa[i] != NO_ID) where.at(pa[i], i) = i;
  const unsigned* pb = b.data();
  for (unsigned j = 0, n = b.size(); j < n; ++j) {
    const unsigned* i = pb[j] == NO_ID ? nullptr : where.find(pb[j]);
    if (!i) continue;
    b_to_a[j] = *i;
    a_to_b[*i] = j;
  }
  return 0;
}

int get_IDs(const dense2D<unsigned>& a, const dense2D<unsigned>& b, dense1D<unsigned>& b_to_a,
            dense1D<unsigned>& a_to_b, bool exact_order) {
  b_to_a.clear();
  a_to_b.clear();
  if (a.rows() != b.rows()) return -2;
  if (!b_to_a.resize(b.cols(), NO_ID) || !a_to_b.resize(a.cols(), NO_ID)) {
    b_to_a.clear();
    a_to_b.clear();
    return -199;
  }
  const unsigned rows = a.rows(), na = a.cols(), nb = b.cols();
  if (na == 0 || nb == 0) return 0;

  // Columns of `a` chained by the sum of their entries, in column order.
  detail::uint_map chain_of(na);
  std::vector<unsigned> head, tail, next(na, NO_ID);
  const unsigned* ca = a.data();
  const std::size_t lda = a.ld();
  for (unsigned i = 0; i < na; ++i) {
    unsigned& k = chain_of.at(column_sum(ca + i * lda, rows), unsigned(head.size()));
    if (k == head.size()) {
      head.push_back(i);
      tail.push_back(i);
    } else {
      next[tail[k]] = i;
      tail[k] = i;
    }
  }

  std::vector<unsigned> wanted(rows), candidate(rows);
  const unsigned* cb = b.data();
  const std::size_t ldb = b.ld();
  for (unsigned j = 0; j < nb; ++j) {
    const unsigned* col = cb + j * ldb;
    const unsigned* k = chain_of.find(column_sum(col, rows));
    if (!k) continue;
    wanted.assign(col, col + rows);
    if (!exact_order) rotate_largest_first(wanted);
    for (unsigned i = head[*k]; i != NO_ID; i = next[i]) {
      const unsigned* c = ca + i * lda;
      candidate.assign(c, c + rows);
      bool same;
      if (exact_order) {
        same = candidate == wanted;
      } else {
        rotate_largest_first(candidate);
        same = candidate == wanted;
        if (!same) {
          std::reverse(candidate.begin(), candidate.end());
          rotate_largest_first(candidate);
          same = candidate == wanted;
        }
      }
      if (same) {
        b_to_a[j] = i;
        a_to_b[i] = j;
        break;
      }
    }
  }
  return 0;
}

int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 2>& box_min,
                     vector_fixed<double, 2>& box_max) {
  return box_of_all<2>(pos, box_min, box_max);
}
int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 3>& box_min,
                     vector_fixed<double, 3>& box_max) {
  return box_of_all<3>(pos, box_min, box_max);
}
int inc_bounding_box(const dense2D<double>& pos, const dense1D<unsigned>& ids,
                     vector_fixed<double, 2>& box_min, vector_fixed<double, 2>& box_max) {
  return box_of_ids<2>(pos, ids, box_min, box_max);
}
int inc_bounding_box(const dense2D<double>& pos, const dense1D<unsigned>& ids,
                     vector_fixed<double, 3>& box_min, vector_fixed<double, 3>& box_max) {
  return box_of_ids<3>(pos, ids, box_min, box_max);
}
int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                     vector_fixed<double, 2>& box_min, vector_fixed<double, 2>& box_max) {
  return box_of_connectivity<2>(pos, connectivity, box_min, box_max);
}
int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                     vector_fixed<double, 3>& box_min, vector_fixed<double, 3>& box_max) {
  return box_of_connectivity<3>(pos, connectivity, box_min, box_max);
}

}  // namespace tessellix
}  // namespace qz4
