// NumPy arrays in and out of the library's containers, and statuses turned
// into Python exceptions.
//
// A C-contiguous (n, d) array is the column-major d x n matrix with ld = d,
// one node or element per row; rows further apart than d elements give
// ld > d. Such arrays are viewed where they lie (dense2D::external); any
// other array is converted once when the service only reads it, and refused
// with TypeError when the service writes into it. Results come back as arrays
// over the library's own storage block, which the array's base keeps alive.
#ifndef QZ4PY_ARRAYS_H
#define QZ4PY_ARRAYS_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "qz4/tessellix.h"

namespace qz4py {

namespace py = pybind11;
using qz4::dense1D;
using qz4::dense2D;
using qz4::element_type;

// ---------------------------------------------------------------------------
// Arguments
// ---------------------------------------------------------------------------

/// A read-only argument: the library's view, and the array whose memory it
/// views (the caller's own, or the converted copy).
template <class M>
struct in {
  M view;
  py::object owner;
};

/// An argument the service writes into. `hold` shares the block for the whole
/// call, so that a resize never lays elements out anew in the caller's memory
/// but moves the view to a fresh block; `finish` then tells what became of it.
template <class M>
struct inout {
  M view, hold;
  py::object caller;  // none when the argument was left out
  const void* data = nullptr;
  unsigned rows = 0, cols = 0, ld = 0;
};

/// The layout that an argument's values must have.
enum class shape { vector, matrix };

in<dense2D<double>> real_matrix(py::handle obj, const char* name);
in<dense2D<unsigned>> index_matrix(py::handle obj, const char* name);
in<dense1D<double>> real_vector(py::handle obj, const char* name);
in<dense1D<unsigned>> index_vector(py::handle obj, const char* name);

/// None (when `optional`) gives an empty view.
inout<dense2D<double>> real_matrix_rw(py::handle obj, const char* name, bool optional = false);
inout<dense2D<unsigned>> index_matrix_rw(py::handle obj, const char* name, bool optional = false);
inout<dense1D<double>> real_vector_rw(py::handle obj, const char* name, bool optional = false);
inout<dense1D<unsigned>> index_vector_rw(py::handle obj, const char* name, bool optional = false);

/// The number of dimensions of an array argument (0 for a scalar), without
/// converting it; -1 for what is no array at all.
int ndim_of(py::handle obj);
/// True for a list or tuple, the form of a group of connectivities.
bool is_group(py::handle obj);

/// A group of connectivities, kept in one contiguous array so that [first,
/// last) ranges reach them.
struct group {
  std::vector<in<dense2D<unsigned>>> args;
  std::vector<dense2D<unsigned>> views;
  const dense2D<unsigned>* first() const { return views.data(); }
  const dense2D<unsigned>* last() const { return views.data() + views.size(); }
};
group index_group(py::handle obj, const char* name);

/// A group written in place: each matrix must keep its shape.
struct group_rw {
  std::vector<inout<dense2D<unsigned>>> args;
  std::vector<dense2D<unsigned>> views;
  dense2D<unsigned>* first() { return views.data(); }
  dense2D<unsigned>* last() { return views.data() + views.size(); }
  /// Brings each result back into its caller's array.
  void finish(const char* name);
};
group_rw index_group_rw(py::handle obj, const char* name);

/// An integer argument (anything with __index__), TypeError otherwise.
long long integer(py::handle obj, const char* name);

/// A real argument (a Python or NumPy number), TypeError otherwise.
double real(py::handle obj, const char* name);

/// An element kind: a member of element_type or its integer value.
element_type kind(py::handle obj, const char* name);
/// One kind per connectivity of a group, as the flags of the range forms.
dense1D<int> kinds(py::handle obj, const char* name, std::size_t count);

/// A point, a direction or a packed tensor: a sequence of `n` numbers, where
/// n is one of the sizes allowed.
struct fixed {
  double v[9];
  unsigned n = 0;
};
fixed small(py::handle obj, const char* name, std::initializer_list<unsigned> sizes);

template <unsigned N>
qz4::vector_fixed<double, N> vec(const fixed& f) {
  qz4::vector_fixed<double, N> r;
  for (unsigned i = 0; i < N; ++i) r[i] = f.v[i];
  return r;
}
template <unsigned N>
qz4::symmetric_fixed<double, N> sym(const fixed& f) {
  qz4::symmetric_fixed<double, N> r;
  for (unsigned i = 0; i < N * (N + 1) / 2; ++i) r[i] = f.v[i];
  return r;
}

/// The bytes of a file name: str, bytes or os.PathLike.
std::string path(py::handle obj, const char* name);

// ---------------------------------------------------------------------------
// Results
// ---------------------------------------------------------------------------

/// An (cols, rows) array over the matrix's block, or a vector's, kept alive by
/// the array's base. Memory of a caller's array is copied, never shared.
py::array out(const dense2D<double>& m);
py::array out(const dense2D<unsigned>& m);
py::array out(const dense1D<double>& v);
py::array out(const dense1D<unsigned>& v);
py::array out(const dense1D<int>& v);

/// What became of an argument written in place: the caller's array when the
/// result is still in it (a leading slice when the service dropped columns),
/// the caller's array again after a copy back when the service moved it to a
/// fresh block of the same shape, and a new array over that block when the
/// shape changed (the caller's array then keeps its old values).
template <class M>
py::object finish(inout<M>& a);

/// As finish, for arguments that the service only changes in place: a change
/// of shape, which a NumPy array cannot follow, raises ValueError.
template <class M>
void finish_in_place(inout<M>& a, const char* name);

/// Small arrays of values the service returned by value.
py::array values(const double* v, std::size_t n);
/// A column-major n x n matrix as an array A with A[i, j] its entry (i, j).
py::array square(const double* v, std::size_t n);

// ---------------------------------------------------------------------------
// Statuses
// ---------------------------------------------------------------------------

/// One row of a service's status table: the argument at fault and why.
struct fault {
  int status;
  const char* argument;
  const char* reason;
};

/// Returns a status of 0 or more; raises MemoryError for -199 and ValueError
/// naming the argument of the table's row for any other negative status.
int check(int status, const char* service, std::initializer_list<fault> table);

/// As check, for a file service: rows whose argument is "filename" raise
/// OSError (FileNotFoundError when the file, or the folder it should go in,
/// does not exist), with the file's name.
int check_file(int status, const char* service, const std::string& filename, bool reading,
               std::initializer_list<fault> table);

/// Raises ValueError "service: argument: reason".
[[noreturn]] void refuse(const char* service, const char* argument, const std::string& reason);

/// Runs the library call with the GIL released.
template <class F>
auto nogil(F&& f) -> decltype(f()) {
  py::gil_scoped_release release;
  return f();
}

// Binding of each subsystem, called from the module's init.
void bind_core(py::module_& m);
void bind_topology(py::module_& m);
void bind_editing(py::module_& m);
void bind_metrics(py::module_& m);
void bind_quality(py::module_& m);
void bind_formats(py::module_& m);

}  // namespace qz4py

#endif
