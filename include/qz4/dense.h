// Shared dense containers of namespace qz4.
//
// A dense1D<T> or dense2D<T> is a view (size, offset, and for matrices rows,
// cols and leading dimension) on a reference-counted storage block,
// vector_num<T>. Copying a view shares the block; only copy() makes private
// elements. Matrices are column-major: a column is one node or one element,
// columns are ld() elements apart, and ld() may exceed rows() on a view made by
// sub_matrix(). Out of memory is reported by a bool false, never by an
// exception; accessors do not check bounds.
#ifndef QZ4_DENSE_H
#define QZ4_DENSE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "qz4/export.h"

namespace qz4 {

/// Raw bytes for a storage block from the current block allocator, or null
/// when none can be had. Blocks ask for 16 bytes more than their elements
/// need, to align their first element.
QZ4_API char* __vector_num_alloc(unsigned bytes);

/// Gives back bytes obtained from __vector_num_alloc. Null is ignored.
QZ4_API void __vector_num_free(char* p);

/// Replaces the allocate/free pair behind every storage block. A host program
/// can account for or cap the library's memory this way; `allocate` must
/// return null on failure. Passing null pointers restores the default
/// malloc-based pair. Not synchronised: set it while no container is being
/// grown or released, and free blocks with the pair that allocated them.
QZ4_API void set_block_allocator(char* (*allocate)(unsigned bytes), void (*release)(char*));

template <class C>
class Ptr;

/// Base of every shared block: an atomic reference count, 0 after
/// construction, and a virtual destructor.
class ref_counted {
 public:
  ref_counted() : refs_(0) {}
  ref_counted(const ref_counted&) : refs_(0) {}
  ref_counted& operator=(const ref_counted&) { return *this; }
  virtual ~ref_counted() = default;

  /// Number of holders at this moment.
  int ref_count() const { return refs_.load(std::memory_order_acquire); }

 private:
  template <class C>
  friend class Ptr;
  void __destroy() { delete this; }
  std::atomic<int> refs_;
};

/// Intrusive smart pointer to a ref_counted descendant.
template <class C>
class Ptr {
 public:
  Ptr() : p_(nullptr) {}
  explicit Ptr(C* p) : p_(nullptr) { *this = p; }
  Ptr(const Ptr& o) : p_(nullptr) { *this = o.p_; }
  ~Ptr() { release(p_); }

  /// Takes a reference on the new target before releasing the old one, so
  /// that assigning a pointer to itself is safe.
  Ptr& operator=(C* p) {
    if (p) static_cast<ref_counted*>(p)->refs_.fetch_add(1, std::memory_order_relaxed);
    C* old = p_;
    p_ = p;
    release(old);
    return *this;
  }
  Ptr& operator=(const Ptr& o) { return *this = o.p_; }

  C* get() const { return p_; }
  C* operator->() const { return p_; }
  C& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }

 private:
  static void release(C* p) {
    if (!p) return;
    ref_counted* r = static_cast<ref_counted*>(p);
    if (r->refs_.fetch_sub(1, std::memory_order_acq_rel) - 1 < 1) r->__destroy();
  }
  C* p_;
};

namespace detail {
// How a block treats the elements it does not copy: plain numbers stay
// uninitialised, other trivially destructible types (pairs, pointers) are
// zero-filled, and class types (views) are constructed and destroyed.
template <class T>
struct block_traits {
  static constexpr bool plain = std::is_arithmetic<T>::value;
  static constexpr bool constructed = !std::is_trivially_destructible<T>::value;
};
}  // namespace detail

/// A growable run of T behind one or more views. It has no size of its own.
template <class T>
class vector_num : public ref_counted {
 public:
  T* data;            // 16-byte aligned; null while nothing was allocated
  unsigned capacity;  // elements from `data` on
  char* raw;          // what __vector_num_alloc returned
  bool external;      // true when the run is not this block's to free

  /// Largest element count whose byte size fits in 32 bits.
  static constexpr unsigned max_count = 0xFFFFFFFFu / sizeof(T);

  vector_num() : data(nullptr), capacity(0), raw(nullptr), external(false) {}
  vector_num(const vector_num&) = delete;
  vector_num& operator=(const vector_num&) = delete;
  ~vector_num() override {
    if (data && !external) {
      destroy(data, capacity);
      __vector_num_free(raw);
    }
    data = nullptr;
    capacity = 0;
    raw = nullptr;
    external = false;
  }

  /// Reallocates for at least `need` elements, keeping the first `keep`.
  /// The new capacity is capacity * g, at least 4 and at least `need`, and
  /// then whatever whole elements fit behind the aligned start. On failure
  /// the block is left as it was.
  bool grow(unsigned need, unsigned keep, unsigned g) {
    unsigned c = capacity * g;
    if (c <= 4) c = 4;
    if (c < need) c = need;
    if (c > max_count) return false;
    const std::uint64_t bytes = std::uint64_t(c) * sizeof(T) + 16;
    if (bytes > 0xFFFFFFFFu) return false;
    char* r = __vector_num_alloc(unsigned(bytes));
    if (!r) return false;
    const std::uintptr_t at = (reinterpret_cast<std::uintptr_t>(r) + 15) & ~std::uintptr_t(15);
    const unsigned cap = unsigned((bytes - (at - reinterpret_cast<std::uintptr_t>(r))) / sizeof(T));
    T* d = reinterpret_cast<T*>(at);
    if (!data) keep = 0;
    if (keep > capacity) keep = capacity;
    if (keep > cap) keep = cap;
    if (detail::block_traits<T>::plain) {
      if (keep)
        std::memcpy(static_cast<void*>(d), static_cast<const void*>(data), keep * sizeof(T));
    } else {
      for (unsigned i = 0; i < cap; ++i) new (d + i) T();
      for (unsigned i = 0; i < keep; ++i) d[i] = data[i];
    }
    if (data && !external) {
      destroy(data, capacity);
      __vector_num_free(raw);
    }
    data = d;
    capacity = cap;
    raw = r;
    external = false;
    return true;
  }

 private:
  static void destroy(T* d, unsigned n) {
    if (detail::block_traits<T>::constructed)
      for (unsigned i = 0; i < n; ++i) d[i].~T();
  }
};

/// A view of `size()` elements from `offset()` on in a shared block.
template <class T>
class dense1D {
 public:
  typedef T value_type;

  /// An empty view on a fresh empty block.
  dense1D() : storage_(new vector_num<T>), size_(0), offset_(0) {}
  /// A view of n elements whose contents are not set.
  explicit dense1D(unsigned n) : dense1D() { resize(n); }
  /// A view of n elements equal to v.
  dense1D(unsigned n, T v) : dense1D() { resize(n, v); }
  /// A view of n elements over memory that the caller owns and keeps valid
  /// while any view shares the block: the block never frees it. Writes
  /// through the view land there; growing past n (or any growth while the
  /// block is shared) moves the view to a block of its own, which leaves the
  /// caller's memory as it was at that moment. Empty for a null `data`.
  static dense1D external(T* data, unsigned n) {
    if (!data) return dense1D();
    return dense1D(external_block(data, n), n, 0);
  }
  /// Shares the block: no element is copied.
  dense1D(const dense1D&) = default;
  dense1D& operator=(const dense1D&) = default;
  ~dense1D() = default;

  unsigned size() const { return size_; }
  unsigned offset() const { return offset_; }
  bool empty() const { return size_ == 0; }
  /// Room in the block from this view's first element on.
  unsigned capacity() const {
    return storage_->capacity > offset_ ? storage_->capacity - offset_ : 0;
  }
  /// The shared block; views on the same block see each other's writes.
  vector_num<T>* block() const { return storage_.get(); }

  T* data() { return storage_->data + offset_; }
  const T* data() const { return storage_->data + offset_; }
  T& operator[](unsigned i) { return storage_->data[offset_ + i]; }
  const T& operator[](unsigned i) const { return storage_->data[offset_ + i]; }
  T* begin() { return data(); }
  T* end() { return data() + size_; }
  const T* begin() const { return data(); }
  const T* end() const { return data() + size_; }

  /// Sets every element of the view to v.
  T operator=(T v) {
    T* d = data();
    for (unsigned i = 0; i < size_; ++i) d[i] = v;
    return v;
  }

  /// Size n without writing any element; grows with reserve(n, 1) first.
  /// False when memory ran short, and then the size is what fits.
  bool resize(unsigned n) {
    if (n > size_) reserve(n, 1);
    const unsigned room = capacity();
    size_ = n < room ? n : room;
    return size_ == n;
  }

  /// Size n, keeping the first min(n, size()) elements and setting the others
  /// to v. On failure nothing changes.
  bool resize(unsigned n, T v) {
    if (!reserve(n, 1)) return false;
    T* d = data();
    for (unsigned i = size_; i < n; ++i) d[i] = v;
    size_ = n;
    return true;
  }

  /// Room for n elements from the offset on, size and contents unchanged.
  /// `growth` multiplies the old capacity when the block must grow. A view
  /// whose block is shared moves to a block of its own when it must grow, so
  /// the other views keep theirs.
  bool reserve(unsigned n, unsigned growth = 1) { return ensure(n, size_, growth); }

  /// Appends v; when memory runs short the value is lost without a word.
  void push_back(const T& v) {
    const std::uint64_t pos = std::uint64_t(offset_) + size_;
    if (storage_->capacity > pos || ensure(std::uint64_t(size_) + 1, size_, 2)) {
      storage_->data[offset_ + size_] = v;
      ++size_;
    }
  }

  /// Deep copy: afterwards this view holds o's elements privately.
  bool copy(const dense1D& o) {
    const unsigned n = o.size_;
    if (storage_.get() != o.storage_.get() && storage_->ref_count() == 1 && capacity() >= n) {
      assign(data(), o.data(), n);
      size_ = n;
      return true;
    }
    Ptr<vector_num<T>> nb(new vector_num<T>);
    if (n && !nb->grow(n, 0, 1)) return false;
    assign(nb->data, o.data(), n);
    storage_ = nb;
    offset_ = 0;
    size_ = n;
    return true;
  }

  /// This view becomes an alias of o.
  void shallow_copy(const dense1D& o) {
    storage_ = o.storage_;
    size_ = o.size_;
    offset_ = o.offset_;
  }

  /// A view of len elements from element pos, sharing the block.
  dense1D sub_vector(unsigned pos, unsigned len) const {
    return dense1D(storage_, len, offset_ + pos);
  }

  /// Size 0; the block and its capacity stay.
  void clear() { size_ = 0; }
  /// Size 0 on a fresh empty block: the old block is given up.
  void clear_hard() {
    storage_ = new vector_num<T>;
    size_ = 0;
    offset_ = 0;
  }

 protected:
  dense1D(const Ptr<vector_num<T>>& s, unsigned size, unsigned offset)
      : storage_(s), size_(size), offset_(offset) {}

  static void assign(T* d, const T* s, std::size_t n) {
    if (detail::block_traits<T>::plain) {
      if (n) std::memmove(static_cast<void*>(d), static_cast<const void*>(s), n * sizeof(T));
    } else {
      for (std::size_t i = 0; i < n; ++i) d[i] = s[i];
    }
  }

  // Room for `need` elements from the offset on, keeping the first `span`.
  // A shared block is not grown in place: this view moves to a new block.
  bool ensure(std::uint64_t need, std::uint64_t span, unsigned g) {
    if (capacity() >= need) return true;
    if (storage_->ref_count() > 1) {
      if (need > 0xFFFFFFFFu) return false;
      Ptr<vector_num<T>> nb(new vector_num<T>);
      if (!nb->grow(unsigned(need), 0, g)) return false;
      assign(nb->data, data(), std::size_t(span));
      storage_ = nb;
      offset_ = 0;
      return true;
    }
    if (need + offset_ > 0xFFFFFFFFu) return false;
    return storage_->grow(unsigned(need + offset_), unsigned(span + offset_), g);
  }

  static Ptr<vector_num<T>> external_block(T* data, unsigned capacity) {
    Ptr<vector_num<T>> b(new vector_num<T>);
    b->data = data;
    b->capacity = capacity;
    b->external = true;
    return b;
  }

  Ptr<vector_num<T>> storage_;
  unsigned size_;
  unsigned offset_;
};

/// A column-major matrix view. Element (i,j) lies at offset() + j*ld() + i of
/// the block. A matrix is empty when rows()*cols() is 0.
template <class T>
class dense2D : public dense1D<T> {
  typedef dense1D<T> base;

 public:
  dense2D() : rows_(0), cols_(0), ld_(0) {}
  dense2D(unsigned rows, unsigned cols) : rows_(0), cols_(0), ld_(0) { resize(rows, cols); }
  dense2D(unsigned rows, unsigned cols, T v) : rows_(0), cols_(0), ld_(0) { resize(rows, cols, v); }
  dense2D(const dense2D&) = default;
  dense2D& operator=(const dense2D&) = default;
  ~dense2D() = default;

  /// A rows x cols matrix over memory that the caller owns, column j starting
  /// `ld` elements after column j - 1, as for dense1D::external: the block
  /// spans ld * (cols - 1) + rows elements and never frees them. Shape changes
  /// follow the rules of any block: one that needs more room moves the matrix
  /// to a block of its own; a new row count within the span is laid out in
  /// the caller's memory unless the block is shared, so a caller that must
  /// keep its layout holds a second view. Empty (0 x 0) for a null `data`,
  /// for ld < rows, or for a span past 32 bits.
  static dense2D external(T* data, unsigned rows, unsigned cols, unsigned ld) {
    dense2D m;
    const std::uint64_t span = cols ? std::uint64_t(ld) * (cols - 1) + rows : 0;
    if (!data || ld < rows || span > 0xFFFFFFFFu || std::uint64_t(rows) * cols > 0xFFFFFFFFu)
      return m;
    m.storage_ = base::external_block(data, unsigned(span));
    m.rows_ = rows;
    m.cols_ = cols;
    m.ld_ = ld;
    m.size_ = rows * cols;
    return m;
  }

  /// Sets every element of the matrix to v.
  T operator=(T v) {
    for (unsigned j = 0; j < cols_; ++j) {
      T* c = this->data() + std::size_t(j) * ld_;
      for (unsigned i = 0; i < rows_; ++i) c[i] = v;
    }
    return v;
  }

  unsigned rows() const { return rows_; }
  unsigned cols() const { return cols_; }
  unsigned ld() const { return ld_; }
  bool empty() const { return std::uint64_t(rows_) * cols_ == 0; }

  T& operator()(unsigned i, unsigned j) {
    return this->storage_->data[this->offset_ + std::size_t(j) * ld_ + i];
  }
  const T& operator()(unsigned i, unsigned j) const {
    return this->storage_->data[this->offset_ + std::size_t(j) * ld_ + i];
  }

  /// Column j as a vector view of rows() elements, sharing the block.
  dense1D<T> col(unsigned j) const {
    return view1(rows_, unsigned(this->offset_ + std::size_t(j) * ld_));
  }

  /// The rows x cols block from element (i,j), sharing storage and keeping ld.
  dense2D sub_matrix(unsigned i, unsigned j, unsigned rows, unsigned cols) const {
    dense2D m(*this);
    m.offset_ = unsigned(this->offset_ + std::size_t(j) * ld_ + i);
    m.rows_ = rows;
    m.cols_ = cols;
    m.size_ = rows * cols;
    return m;
  }

  /// All rows()*cols() elements in storage order; meaningful when ld() == rows().
  dense1D<T> as_vector() const { return view1(rows_ * cols_, this->offset_); }

  /// Sets the shape. With the row count unchanged, the columns already present
  /// keep their contents and ld() stays; with another row count the matrix is
  /// laid out anew with ld() == rows and the elements of the common part kept.
  bool resize(unsigned rows, unsigned cols) { return reshape(rows, cols, nullptr); }
  /// As resize(rows, cols), and every element beyond the old shape becomes v.
  bool resize(unsigned rows, unsigned cols, T v) { return reshape(rows, cols, &v); }

  /// Room for that shape without changing shape or contents.
  bool reserve(unsigned rows, unsigned cols) {
    const unsigned ld = (rows == rows_ && ld_ >= rows && ld_) ? ld_ : rows;
    const std::uint64_t need = cols ? std::uint64_t(ld) * (cols - 1) + rows : 0;
    return this->ensure(need, span(), 1);
  }

  /// Deep copy with private elements and ld() == rows().
  bool copy(const dense2D& o) {
    const unsigned r = o.rows_, c = o.cols_;
    const std::uint64_t n = std::uint64_t(r) * c;
    if (n > 0xFFFFFFFFu) return false;
    Ptr<vector_num<T>> nb(new vector_num<T>);
    if (n && !nb->grow(unsigned(n), 0, 1)) return false;
    for (unsigned j = 0; j < c && r; ++j)
      base::assign(nb->data + std::size_t(j) * r, o.data() + std::size_t(j) * o.ld_, r);
    this->storage_ = nb;
    this->offset_ = 0;
    this->size_ = unsigned(n);
    rows_ = r;
    cols_ = c;
    ld_ = r;
    return true;
  }

  /// This view becomes an alias of o, all six fields.
  void shallow_copy(const dense2D& o) { *this = o; }

  /// Shape 0 x 0 with ld() 0; the block and its capacity stay.
  void clear() {
    this->size_ = 0;
    rows_ = cols_ = ld_ = 0;
  }
  void clear_hard() {
    base::clear_hard();
    rows_ = cols_ = ld_ = 0;
  }

  /// Appends a column of col.size() entries. A non-empty matrix must have that
  /// many rows. Room is reserved for max(2*cols, 4) columns at a time.
  bool append_column(const dense1D<T>& col) { return append(col.data(), col.size()); }
  /// Appends the two-entry column (a, b).
  bool append_column(T a, T b) {
    const T v[2] = {a, b};
    return append(v, 2);
  }

 private:
  dense1D<T> view1(unsigned size, unsigned offset) const {
    return dense1D<T>(*this).sub_vector(offset - this->offset_, size);
  }

  std::uint64_t span() const { return empty() ? 0 : std::uint64_t(ld_) * (cols_ - 1) + rows_; }

  bool append(const T* v, unsigned n) {
    const bool was_empty = empty();
    if (!was_empty && rows_ != n) return false;
    unsigned fit = 0;
    if (!was_empty) fit = ld_ ? this->capacity() / ld_ : this->capacity();
    if (was_empty || cols_ == fit) reserve(n, 2 * cols_ > 4 ? 2 * cols_ : 4);
    if (!resize(n, cols_ + 1)) return false;
    T* d = this->data() + std::size_t(ld_) * (cols_ - 1);
    for (unsigned i = 0; i < n; ++i) d[i] = v[i];
    return true;
  }

  bool reshape(unsigned R, unsigned C, const T* fill) {
    const bool had = !empty();
    const unsigned R0 = had ? rows_ : 0, C0 = had ? cols_ : 0, ld0 = ld_;
    const unsigned ld = (had && R == R0 && ld0 >= R) ? ld0 : R;
    const std::uint64_t need = C ? std::uint64_t(ld) * (C - 1) + R : 0;
    if (need > 0xFFFFFFFFu) return false;
    const unsigned rk = R0 < R ? R0 : R, ck = C0 < C ? C0 : C;  // the part that is kept
    bool relayout = had && ld != ld0;
    if (this->capacity() < need || (relayout && this->storage_->ref_count() > 1)) {
      if (this->storage_->ref_count() > 1 || relayout) {
        // A fresh block, with the kept part copied straight into the new layout.
        Ptr<vector_num<T>> nb(new vector_num<T>);
        if (need && !nb->grow(unsigned(need), 0, 1)) return false;
        const T* s = this->data();
        for (unsigned j = 0; j < ck; ++j)
          base::assign(nb->data + std::size_t(j) * ld, s + std::size_t(j) * ld0, rk);
        this->storage_ = nb;
        this->offset_ = 0;
        relayout = false;
      } else if (!this->storage_->grow(unsigned(need + this->offset_),
                                       unsigned(span() + this->offset_), 1)) {
        return false;
      }
    }
    if (relayout) {
      T* d = this->data();
      if (ld > ld0) {
        for (unsigned j = ck; j-- > 0;)
          for (unsigned i = rk; i-- > 0;) d[std::size_t(j) * ld + i] = d[std::size_t(j) * ld0 + i];
      } else {
        for (unsigned j = 0; j < ck; ++j)
          for (unsigned i = 0; i < rk; ++i)
            d[std::size_t(j) * ld + i] = d[std::size_t(j) * ld0 + i];
      }
    }
    rows_ = R;
    cols_ = C;
    ld_ = ld;
    this->size_ = R * C;
    if (fill) {
      T* d = this->data();
      for (unsigned j = 0; j < C; ++j) {
        T* c = d + std::size_t(j) * ld;
        for (unsigned i = (j < ck ? rk : 0); i < R; ++i) c[i] = *fill;
      }
    }
    return true;
  }

  unsigned rows_;
  unsigned cols_;
  unsigned ld_;
};

}  // namespace qz4

#endif
