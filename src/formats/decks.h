// What the solver decks (NASTRAN bulk data, FEMAP neutral) share: a mesh of
// mixed kinds as one padded connectivity with a table of runs, the checks of
// the writers, the single and two-connectivity forms, and the reader's
// bookkeeping of runs and fields.
#ifndef QZ4_FORMATS_DECKS_H
#define QZ4_FORMATS_DECKS_H

#include <cstddef>
#include <cstdio>
#include <string_view>

#include "formats/columns.h"
#include "qz4/dense.h"
#include "qz4/element_type.h"

namespace qz4 {
namespace tessellix {
namespace deck {

/// A mesh as the decks see it.
struct runs {
  dense2D<unsigned>* conn;
  dense1D<unsigned>* starts;
  dense1D<int>* kinds;
  dense1D<unsigned>* properties;
};

/// The kind a run of a mixed kind is written as: that of its first column.
element_type written_kind(element_type kind, const dense2D<unsigned>& conn, unsigned first_column);

/// Columns [begin, end) of run r, clamped to the matrix; begin == end when
/// the run table names nothing there.
void run_columns(const dense1D<unsigned>& starts, unsigned r, unsigned cols, unsigned& begin,
                 unsigned& end);

/// The checks of both writers after the open, in their order: 0 to go on,
/// or the status (-2, -5, -6, -3).
int check_output(const dense2D<double>& pos, const dense2D<unsigned>& conn,
                 const dense1D<unsigned>& starts, const dense1D<int>& kinds,
                 const dense1D<unsigned>& properties);

/// The single and two-connectivity output forms, built on the run form
/// `write(conn, starts, kinds, properties)`.
template <class Write>
int single_output(const dense2D<unsigned>& conn, element_type type, Write write) {
  dense1D<unsigned> starts(2, 0u), properties(1, 1u);
  dense1D<int> kinds(1, int(type));
  if (starts.size() != 2 || properties.size() != 1 || kinds.size() != 1) return -199;
  starts[1] = conn.cols();
  return write(conn, starts, kinds, properties);
}
int join(const dense2D<unsigned>& a, const dense2D<unsigned>& b, dense2D<unsigned>& both);
template <class Write>
int two_output(const dense2D<unsigned>& a, const dense2D<unsigned>& b, element_type ta,
               element_type tb, Write write) {
  dense2D<unsigned> both;
  dense1D<unsigned> starts(3, 0u), properties(2, 1u);
  dense1D<int> kinds(2, int(ta));
  if (join(a, b, both) != 0 || starts.size() != 3 || properties.size() != 2 || kinds.size() != 2)
    return -199;
  // The second start is the second matrix's own column count, not the sum.
  starts[1] = a.cols();
  starts[2] = b.cols();
  kinds[1] = int(tb);
  properties[1] = 2;
  return write(both, starts, kinds, properties);
}

/// The single and two-connectivity input forms around the run form
/// `read(pos, conn, starts, kinds, properties)`.
template <class Read>
int single_input(dense2D<double>& pos, dense2D<unsigned>& conn, element_type& type, Read read) {
  dense1D<unsigned> starts, properties;
  dense1D<int> kinds;
  const int status = read(pos, conn, starts, kinds, properties);
  if (status >= 0 && starts.size() >= 2) type = ET_NONE;  // the kind read is not reported
  return status;
}
void split_two(const dense2D<unsigned>& conn, const dense1D<unsigned>& starts,
               const dense1D<int>& kinds, dense2D<unsigned>& first, dense2D<unsigned>& second,
               element_type& first_type, element_type& second_type);
template <class Read>
int two_input(dense2D<double>& pos, dense2D<unsigned>& first, dense2D<unsigned>& second,
              element_type& first_type, element_type& second_type, Read read) {
  dense2D<unsigned> conn;
  dense1D<unsigned> starts, properties;
  dense1D<int> kinds;
  const int status = read(pos, conn, starts, kinds, properties);
  if (status >= 0) split_two(conn, starts, kinds, first, second, first_type, second_type);
  return status;
}

/// A line cut into fields, kept as views into the line (no allocation per
/// field); at most `capacity` fields, more counting as a full list.
struct fields {
  static constexpr unsigned capacity = 64;
  std::string_view f[capacity];
  unsigned n = 0;
  void add(std::string_view s) {
    if (n < capacity) f[n++] = s;
  }
  std::string_view operator[](unsigned i) const { return i < n ? f[i] : std::string_view(); }
};

/// `atoi` and `atof` of a field.
int to_int(std::string_view s);
double to_double(std::string_view s);

/// Grows the coordinates with zero columns until column `id` exists. -1
/// when the id is negative or beyond what a file of `bytes` bytes can mean
/// (a guard against allocating for an absurd id), -199 when memory ran out.
int hold_node(io::column_builder<double>& pos, long long id, std::size_t bytes);

/// Appends an element of `count` nodes to the connectivity, widening it with
/// NO_ID rows first when it has fewer; false when memory ran out.
bool append_element(io::column_builder<unsigned>& conn, const unsigned* nodes, unsigned count);

/// Keeps the run table while a reader appends elements.
class run_keeper {
 public:
  explicit run_keeper(runs r) : r_(r) {}
  /// Starts the table: the first start 0.
  bool begin() { return push(*r_.starts, 0u); }
  /// One more element of `kind`, appended to the connectivity as column `column`.
  bool element(int kind, unsigned column);
  bool end(unsigned count) { return push(*r_.starts, count); }
  template <class T>
  static bool push(dense1D<T>& list, T value) {
    const unsigned n = list.size();
    list.push_back(value);
    return list.size() == n + 1;
  }
  int previous = 0;
  bool any = false;

 private:
  runs r_;
};

/// Size of the open file in bytes (0 when unknown).
std::size_t file_size(std::FILE* f);

/// The run form of both readers: the outputs emptied, the file opened, the
/// lines read by `body(file, pos, conn, runs, keeper)`, the outputs trimmed
/// to what was read; -1 also when no node or no element came; after -199
/// the outputs are empty.
template <class Body>
int read_runs(const char* filename, dense2D<double>& pos, dense2D<unsigned>& conn,
              dense1D<unsigned>& starts, dense1D<int>& kinds, dense1D<unsigned>& properties,
              Body body) {
  pos.clear();
  conn.clear();
  starts.clear();
  kinds.clear();
  properties.clear();
  std::FILE* f = std::fopen(filename, "r");
  if (!f) return -1;
  io::column_builder<double> p(3);
  io::column_builder<unsigned> c(0);
  const runs r{&conn, &starts, &kinds, &properties};
  run_keeper keeper(r);
  int status = keeper.begin() ? body(f, p, c, r, keeper) : -199;
  std::fclose(f);
  if (!keeper.end(c.cols()) || !p.finish(pos) || !c.finish(conn)) status = -199;
  if (status == 0 && (pos.empty() || conn.empty())) status = -1;
  if (status == -199) {  // memory running out leaves nothing, never a shorter mesh
    pos.clear();
    conn.clear();
    starts.clear();
    kinds.clear();
    properties.clear();
  }
  return status;
}

/// The start of both writers: the file opened, then the checks in their
/// order. Null with `status` set when there is nothing to write (status 0
/// for an empty connectivity, even when the open failed) or a check failed.
std::FILE* open_output(const char* filename, const dense2D<double>& pos,
                       const dense2D<unsigned>& conn, const dense1D<unsigned>& starts,
                       const dense1D<int>& kinds, const dense1D<unsigned>& properties, int& status);

}  // namespace deck
}  // namespace tessellix
}  // namespace qz4

#endif
