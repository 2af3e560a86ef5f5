// Open-addressing hash containers keyed by node or element IDs. NO_ID is the
// empty-slot marker, so it can never be a key: the set reports it as present,
// which is what every caller wants of padding.
#ifndef QZ4_TESSELLIX_HASH_H
#define QZ4_TESSELLIX_HASH_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qz4/element_type.h"

namespace qz4 {
namespace tessellix {
namespace detail {

inline unsigned table_bits(std::size_t expected) {
  unsigned bits = 4;
  while ((std::size_t(1) << bits) < 2 * expected + 2) ++bits;
  return bits;
}

/// Fibonacci hashing: the high bits of a multiplicative hash spread the
/// consecutive IDs of a mesh evenly over the slots.
inline std::size_t slot_of(unsigned key, unsigned bits) {
  return std::size_t((std::uint64_t(key) * 0x9E3779B97F4A7C15ull) >> (64 - bits));
}

/// A set of unsigned with NO_ID always a member.
class uint_set {
 public:
  explicit uint_set(std::size_t expected = 8) { reset(expected); }

  /// True when `key` was not yet a member (NO_ID never is new).
  bool insert(unsigned key) {
    if (key == NO_ID) return false;
    std::size_t i = slot_of(key, bits_);
    const std::size_t mask = slots_.size() - 1;
    while (slots_[i] != NO_ID) {
      if (slots_[i] == key) return false;
      i = (i + 1) & mask;
    }
    slots_[i] = key;
    if (++size_ * 2 > slots_.size()) rehash(bits_ + 1);
    return true;
  }

  bool contains(unsigned key) const {
    if (key == NO_ID) return true;
    std::size_t i = slot_of(key, bits_);
    const std::size_t mask = slots_.size() - 1;
    while (slots_[i] != NO_ID) {
      if (slots_[i] == key) return true;
      i = (i + 1) & mask;
    }
    return false;
  }

  /// Members other than NO_ID.
  std::size_t size() const { return size_; }

 private:
  void reset(std::size_t expected) {
    bits_ = table_bits(expected);
    slots_.assign(std::size_t(1) << bits_, NO_ID);
    size_ = 0;
  }
  void rehash(unsigned bits) {
    std::vector<unsigned> old;
    old.swap(slots_);
    bits_ = bits;
    slots_.assign(std::size_t(1) << bits_, NO_ID);
    const std::size_t mask = slots_.size() - 1;
    for (unsigned k : old) {
      if (k == NO_ID) continue;
      std::size_t i = slot_of(k, bits_);
      while (slots_[i] != NO_ID) i = (i + 1) & mask;
      slots_[i] = k;
    }
  }

  std::vector<unsigned> slots_;
  unsigned bits_ = 4;
  std::size_t size_ = 0;
};

/// A map from any unsigned key (NO_ID included) to unsigned.
class uint_map {
 public:
  explicit uint_map(std::size_t expected = 8) { reset(table_bits(expected)); }

  /// The value slot of `key`, inserted with `init` when new. The reference is
  /// valid until the next insertion.
  unsigned& at(unsigned key, unsigned init) {
    std::size_t i = find_slot(key);
    if (used_[i]) return values_[i];
    if ((size_ + 1) * 2 > keys_.size()) {
      grow();
      i = find_slot(key);
    }
    used_[i] = 1;
    keys_[i] = key;
    values_[i] = init;
    ++size_;
    return values_[i];
  }

  /// The value of `key`, or null when absent.
  const unsigned* find(unsigned key) const {
    const std::size_t i = find_slot(key);
    return used_[i] ? &values_[i] : nullptr;
  }

  std::size_t size() const { return size_; }

 private:
  void reset(unsigned bits) {
    bits_ = bits;
    keys_.assign(std::size_t(1) << bits_, 0);
    values_.assign(keys_.size(), 0);
    used_.assign(keys_.size(), 0);
  }
  std::size_t find_slot(unsigned key) const {
    std::size_t i = slot_of(key, bits_);
    const std::size_t mask = keys_.size() - 1;
    while (used_[i] && keys_[i] != key) i = (i + 1) & mask;
    return i;
  }
  void grow() {
    std::vector<unsigned> ok, ov;
    std::vector<unsigned char> ou;
    ok.swap(keys_);
    ov.swap(values_);
    ou.swap(used_);
    reset(bits_ + 1);
    for (std::size_t j = 0; j < ok.size(); ++j) {
      if (!ou[j]) continue;
      const std::size_t i = find_slot(ok[j]);
      used_[i] = 1;
      keys_[i] = ok[j];
      values_[i] = ov[j];
    }
  }

  std::vector<unsigned> keys_;
  std::vector<unsigned> values_;
  std::vector<unsigned char> used_;
  unsigned bits_ = 4;
  std::size_t size_ = 0;
};

}  // namespace detail
}  // namespace tessellix
}  // namespace qz4

#endif
