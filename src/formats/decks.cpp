// What the NASTRAN and FEMAP readers and writers share.
#include "formats/decks.h"

#include <cstdlib>
#include <cstring>

#include "formats/text_io.h"
#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {
namespace deck {

element_type written_kind(element_type kind, const dense2D<unsigned>& conn, unsigned column) {
  const unsigned* c = conn.data() + std::size_t(column) * conn.ld();
  const unsigned rows = conn.rows();
  // Rows a mixed column does not have count as padding.
  auto pad = [&](unsigned r) { return r >= rows || c[r] == NO_ID; };
  if (kind == ET_FACE_MIXED) return pad(3) ? ET_TRIA3 : ET_QUAD4;
  if (kind == ET_SOLID_MIXED)
    return pad(4) ? ET_TETRA4 : pad(5) ? ET_PYRA5 : pad(6) ? ET_PENTA6 : ET_HEXA8;
  return kind;
}

void run_columns(const dense1D<unsigned>& starts, unsigned r, unsigned cols, unsigned& begin,
                 unsigned& end) {
  begin = starts[r] < cols ? starts[r] : cols;
  end = starts[r + 1] < cols ? starts[r + 1] : cols;
  if (end < begin) end = begin;
}

int check_output(const dense2D<double>& pos, const dense2D<unsigned>& conn,
                 const dense1D<unsigned>& starts, const dense1D<int>& kinds,
                 const dense1D<unsigned>& properties) {
  if (pos.rows() != 3) return -2;
  if (starts.size() != kinds.size() + 1) return -5;
  if (properties.size() != conn.cols()) return -6;
  for (unsigned r = 0; r < kinds.size(); ++r) {
    unsigned begin, end;
    run_columns(starts, r, conn.cols(), begin, end);
    const element_type kind = element_type(kinds[r]);
    if (kinds[r] < 0 || kinds[r] > 20) continue;
    unsigned rows = element_nodes[kind];
    if (kind == ET_FACE_MIXED) rows = conn.rows() < 4 ? conn.rows() : 4;
    if (kind == ET_SOLID_MIXED) rows = conn.rows() < 20 ? conn.rows() : 20;
    if (end == begin) continue;
    // A pure kind with fewer rows than its nodes cannot be written.
    if (rows > conn.rows() || !check_IDs(conn.sub_matrix(0, begin, rows, end - begin), kind, NO_ID))
      return -3;
  }
  return 0;
}

int join(const dense2D<unsigned>& a, const dense2D<unsigned>& b, dense2D<unsigned>& both) {
  const unsigned rows = a.rows() > b.rows() ? a.rows() : b.rows();
  if (!both.resize(rows, a.cols() + b.cols(), NO_ID)) return -199;
  for (unsigned j = 0; j < a.cols(); ++j)
    for (unsigned i = 0; i < a.rows(); ++i) both(i, j) = a(i, j);
  for (unsigned j = 0; j < b.cols(); ++j)
    for (unsigned i = 0; i < b.rows(); ++i) both(i, a.cols() + j) = b(i, j);
  return 0;
}

void split_two(const dense2D<unsigned>& conn, const dense1D<unsigned>& starts,
               const dense1D<int>& kinds, dense2D<unsigned>& first, dense2D<unsigned>& second,
               element_type& first_type, element_type& second_type) {
  if (starts.size() < 2 || kinds.size() < 1) return;
  unsigned begin, end;
  run_columns(starts, 0, conn.cols(), begin, end);
  first_type = element_type(kinds[0]);
  first = conn.sub_matrix(0, begin, conn.rows(), end - begin);
  // A file of one run has no second one: that output stays as it was.
  if (starts.size() < 3 || kinds.size() < 2) return;
  run_columns(starts, 1, conn.cols(), begin, end);
  second_type = element_type(kinds[1]);
  const unsigned nodes = kinds[1] >= 0 && kinds[1] <= 20 ? element_nodes[kinds[1]] : 0;
  second = conn.sub_matrix(0, begin, nodes < conn.rows() ? nodes : conn.rows(), end - begin);
}

int to_int(std::string_view s) { return io::ascii_to_int(s); }
double to_double(std::string_view s) { return io::ascii_to_double(s); }

int hold_node(io::column_builder<double>& pos, long long id, std::size_t bytes) {
  if (id < 0 || id > 16 * (long long)bytes + 4096) return -1;
  while ((long long)pos.cols() <= id) {
    double* c = pos.next();
    if (!c) return -199;
    c[0] = c[1] = c[2] = 0;
  }
  return 0;
}

bool run_keeper::element(int kind, unsigned column) {
  bool ok = true;
  if (previous == 0) {
    ok = push(*r_.kinds, kind);
  } else if (kind != previous) {
    ok = push(*r_.kinds, kind) && push(*r_.starts, column);
  }
  previous = kind;
  return ok;
}

bool append_element(io::column_builder<unsigned>& conn, const unsigned* nodes, unsigned count) {
  if (!conn.widen(count, NO_ID)) return false;
  unsigned* c = conn.next();
  if (!c) return false;
  for (unsigned i = 0; i < conn.rows(); ++i) c[i] = i < count ? nodes[i] : NO_ID;
  return true;
}

std::FILE* open_output(const char* filename, const dense2D<double>& pos,
                       const dense2D<unsigned>& conn, const dense1D<unsigned>& starts,
                       const dense1D<int>& kinds, const dense1D<unsigned>& properties,
                       int& status) {
  std::FILE* f = std::fopen(filename, "w");
  status = conn.empty() ? 0 : !f ? -1 : check_output(pos, conn, starts, kinds, properties);
  if (conn.empty() || status != 0) {
    if (f) std::fclose(f);
    return nullptr;
  }
  return f;
}

std::size_t file_size(std::FILE* f) {
  const long here = std::ftell(f);
  if (here < 0 || std::fseek(f, 0, SEEK_END) != 0) return 0;
  const long size = std::ftell(f);
  std::fseek(f, here, SEEK_SET);
  return size > 0 ? std::size_t(size) : 0;
}

}  // namespace deck
}  // namespace tessellix
}  // namespace qz4
