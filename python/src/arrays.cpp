#include "arrays.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace qz4py {

namespace {

using npy = py::detail::npy_api;

std::string str(const char* s) { return std::string(s); }

std::string type_name(py::handle obj) { return Py_TYPE(obj.ptr())->tp_name; }

py::array as_array(py::handle obj, const char* name) {
  if (obj.is_none()) throw py::type_error(str(name) + ": an array is required, not None");
  if (py::isinstance<py::array>(obj)) return py::reinterpret_borrow<py::array>(obj);
  py::array a = py::array::ensure(obj);
  if (!a || a.dtype().kind() == 'O')
    throw py::type_error(str(name) + ": cannot be read as an array of numbers (" + type_name(obj) +
                         ")");
  return a;
}

void need_ndim(const py::array& a, int ndim, const char* name) {
  if (a.ndim() == ndim) return;
  throw py::value_error(str(name) + ": a " + std::to_string(ndim) + "-D array is required (" +
                        (ndim == 2 ? "one row per node or element" : "one entry per item") +
                        "), not " + std::to_string(a.ndim()) + "-D");
}

template <class T>
bool same_dtype(const py::array& a) {
  return npy::get().PyArray_EquivTypes_(py::detail::array_proxy(a.ptr())->descr,
                                        py::dtype::of<T>().ptr());
}

// The library's shape of an array that can be viewed where it lies: rows
// are the entries of one item, cols the items, ld the step between items.
struct layout {
  unsigned rows = 0, cols = 0, ld = 0;
};

template <class T>
bool viewable(const py::array& a, layout& l) {
  const std::uint64_t max = 0xFFFFFFFFu, e = sizeof(T);
  const bool matrix = a.ndim() == 2;
  const std::uint64_t n = std::uint64_t(a.shape(0)), d = matrix ? std::uint64_t(a.shape(1)) : 1;
  if (n > max || d > max) return false;
  l.rows = unsigned(d);
  l.cols = unsigned(n);
  l.ld = unsigned(d);
  if (n * d == 0) return true;
  if (!(a.flags() & npy::NPY_ARRAY_ALIGNED_)) return false;
  if (matrix && d > 1 && std::uint64_t(a.strides(1)) != e) return false;
  if (n > 1) {
    if (a.strides(0) <= 0 || std::uint64_t(a.strides(0)) % e) return false;
    const std::uint64_t ld = std::uint64_t(a.strides(0)) / e;
    if (ld < d || ld * (n - 1) + d > max) return false;
    l.ld = unsigned(ld);
  }
  return true;
}

template <class M>
struct make;
template <class T>
struct make<dense2D<T>> {
  static dense2D<T> view(void* data, const layout& l) {
    if (std::uint64_t(l.rows) * l.cols == 0) return dense2D<T>(l.rows, l.cols);
    return dense2D<T>::external(static_cast<T*>(data), l.rows, l.cols, l.ld);
  }
};
template <class T>
struct make<dense1D<T>> {
  static dense1D<T> view(void* data, const layout& l) {
    if (!l.cols) return dense1D<T>();
    return dense1D<T>::external(static_cast<T*>(data), l.cols);
  }
};

template <class M>
M view_of(const py::array& a, const layout& l) {
  return make<M>::view(const_cast<void*>(a.data()), l);
}

// An array of another integer type as NO_ID-aware node IDs: -1 is NO_ID, and
// anything outside -1 to 0xFFFFFFFF is refused rather than wrapped.
py::array to_ids(const py::array& a, const char* name) {
  const char k = a.dtype().kind();
  if (k != 'b' && k != 'i' && k != 'u')
    throw py::type_error(str(name) + ": node or element IDs must be integers, not " +
                         std::string(py::str(a.dtype())));
  if (k == 'b' || (k == 'u' && a.itemsize() <= 4))
    return py::array_t<unsigned, py::array::c_style | py::array::forcecast>::ensure(a);
  auto w = py::array_t<std::int64_t, py::array::c_style | py::array::forcecast>::ensure(a);
  if (!w) throw py::error_already_set();
  std::vector<py::ssize_t> shape(a.shape(), a.shape() + a.ndim());
  py::array_t<unsigned> r(shape);
  const std::int64_t* s = w.data();
  unsigned* d = r.mutable_data();
  for (py::ssize_t i = 0; i < w.size(); ++i) {
    if (s[i] < -1 || s[i] > 0xFFFFFFFFll)
      throw py::value_error(str(name) + ": " + std::to_string(s[i]) +
                            " is no node or element ID (0 to 4294967294, or -1 for NO_ID)");
    d[i] = unsigned(s[i]);
  }
  return std::move(r);
}

template <class T>
py::array converted(const py::array& a, const char* name) {
  if (std::is_same<T, unsigned>::value) return to_ids(a, name);
  const char k = a.dtype().kind();
  if (k != 'b' && k != 'i' && k != 'u' && k != 'f')
    throw py::type_error(str(name) + ": real numbers are required, not " +
                         std::string(py::str(a.dtype())));
  return py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(a);
}

template <class M>
in<M> read_arg(py::handle obj, const char* name, int ndim) {
  typedef typename M::value_type T;
  in<M> r;
  py::array a = as_array(obj, name);
  need_ndim(a, ndim, name);
  layout l;
  if (!same_dtype<T>(a) || !viewable<T>(a, l)) {
    a = converted<T>(a, name);
    if (!a || !viewable<T>(a, l)) throw py::type_error(str(name) + ": cannot be converted");
  }
  r.view = view_of<M>(a, l);
  r.owner = a;
  return r;
}

const char* type_word(double*) { return "float64"; }
const char* type_word(unsigned*) { return "uint32"; }

template <class M>
inout<M> write_arg(py::handle obj, const char* name, bool optional, int ndim) {
  typedef typename M::value_type T;
  inout<M> r;
  r.caller = py::none();
  if (obj.is_none() && optional) return r;
  const std::string need = str(name) + ": the service writes into it, so it must be a writable " +
                           type_word(static_cast<T*>(nullptr)) + " NumPy array" +
                           (ndim == 2 ? " with contiguous rows" : ", contiguous");
  if (!py::isinstance<py::array>(obj)) throw py::type_error(need + ", not " + type_name(obj));
  py::array a = py::reinterpret_borrow<py::array>(obj);
  need_ndim(a, ndim, name);
  layout l;
  if (!same_dtype<T>(a) || !a.writeable() || !viewable<T>(a, l))
    throw py::type_error(need + " (got " + std::string(py::str(a.dtype())) +
                         (a.writeable() ? "" : ", read-only") + ")");
  r.view = view_of<M>(a, l);
  r.hold = r.view;
  r.caller = a;
  r.data = r.view.data();
  r.rows = l.rows;
  r.cols = l.cols;
  r.ld = l.ld;
  return r;
}

template <class T>
layout dims(const dense2D<T>& m) {
  return {m.rows(), m.cols(), m.ld()};
}
template <class T>
layout dims(const dense1D<T>& v) {
  return {1, v.size(), 1};
}

template <class T>
T* ptr_of(const dense2D<T>& m) {
  return const_cast<T*>(m.data());
}
template <class T>
T* ptr_of(const dense1D<T>& v) {
  return const_cast<T*>(v.data());
}

enum class fate { same, copied, moved };

template <class M>
fate settle(inout<M>& a) {
  typedef typename M::value_type T;
  const layout l = dims(a.view);
  if (l.rows == a.rows && l.cols <= a.cols &&
      (l.cols == 0 || l.rows == 0 || (ptr_of(a.view) == a.data && l.ld == a.ld)))
    return fate::same;
  if (l.rows != a.rows || l.cols != a.cols) return fate::moved;
  M src = a.view;
  if (src.block()->external) {  // still in foreign memory: go through a private copy
    M c;
    if (!c.copy(src)) throw std::bad_alloc();
    src = c;
  }
  T* to = static_cast<T*>(const_cast<void*>(a.data));
  const layout s = dims(src);
  for (unsigned j = 0; j < l.cols; ++j)
    std::memcpy(to + std::size_t(j) * a.ld, ptr_of(src) + std::size_t(j) * s.ld,
                l.rows * sizeof(T));
  return fate::copied;
}

template <class T>
py::array copy_out(const dense2D<T>& m) {
  py::array_t<T> a(std::vector<py::ssize_t>{py::ssize_t(m.cols()), py::ssize_t(m.rows())});
  T* d = a.mutable_data();
  for (unsigned j = 0; j < m.cols(); ++j)
    std::memcpy(d + std::size_t(j) * m.rows(), m.data() + std::size_t(j) * m.ld(),
                m.rows() * sizeof(T));
  return std::move(a);
}

template <class T>
py::array out2(const dense2D<T>& m) {
  const py::ssize_t r = m.rows(), c = m.cols();
  if (m.empty()) return py::array_t<T>(std::vector<py::ssize_t>{c, r});
  if (m.block()->external) return copy_out(m);
  auto* keep = new dense2D<T>(m);
  py::capsule base(keep, [](void* p) { delete static_cast<dense2D<T>*>(p); });
  return py::array(py::dtype::of<T>(), {c, r},
                   {py::ssize_t(m.ld() * sizeof(T)), py::ssize_t(sizeof(T))}, keep->data(), base);
}

template <class T>
py::array out1(const dense1D<T>& v) {
  if (v.empty()) return py::array_t<T>(0);
  if (v.block()->external) {
    py::array_t<T> a(v.size());
    std::memcpy(a.mutable_data(), v.data(), v.size() * sizeof(T));
    return std::move(a);
  }
  auto* keep = new dense1D<T>(v);
  py::capsule base(keep, [](void* p) { delete static_cast<dense1D<T>*>(p); });
  return py::array(py::dtype::of<T>(), {py::ssize_t(v.size())}, {py::ssize_t(sizeof(T))},
                   keep->data(), base);
}

}  // namespace

// ---------------------------------------------------------------------------

in<dense2D<double>> real_matrix(py::handle obj, const char* name) {
  return read_arg<dense2D<double>>(obj, name, 2);
}
in<dense2D<unsigned>> index_matrix(py::handle obj, const char* name) {
  return read_arg<dense2D<unsigned>>(obj, name, 2);
}
in<dense1D<double>> real_vector(py::handle obj, const char* name) {
  return read_arg<dense1D<double>>(obj, name, 1);
}
in<dense1D<unsigned>> index_vector(py::handle obj, const char* name) {
  return read_arg<dense1D<unsigned>>(obj, name, 1);
}

inout<dense2D<double>> real_matrix_rw(py::handle obj, const char* name, bool optional) {
  return write_arg<dense2D<double>>(obj, name, optional, 2);
}
inout<dense2D<unsigned>> index_matrix_rw(py::handle obj, const char* name, bool optional) {
  return write_arg<dense2D<unsigned>>(obj, name, optional, 2);
}
inout<dense1D<double>> real_vector_rw(py::handle obj, const char* name, bool optional) {
  return write_arg<dense1D<double>>(obj, name, optional, 1);
}
inout<dense1D<unsigned>> index_vector_rw(py::handle obj, const char* name, bool optional) {
  return write_arg<dense1D<unsigned>>(obj, name, optional, 1);
}

int ndim_of(py::handle obj) {
  if (py::isinstance<py::array>(obj)) return int(py::reinterpret_borrow<py::array>(obj).ndim());
  if (PyList_Check(obj.ptr()) || PyTuple_Check(obj.ptr())) {
    py::sequence s = py::reinterpret_borrow<py::sequence>(obj);
    return s.size() ? 1 + ndim_of(s[0]) : 1;
  }
  if (PyNumber_Check(obj.ptr())) return 0;
  return -1;
}

bool is_group(py::handle obj) {
  if (!PyList_Check(obj.ptr()) && !PyTuple_Check(obj.ptr())) return false;
  py::sequence s = py::reinterpret_borrow<py::sequence>(obj);
  return s.size() == 0 || ndim_of(s[0]) == 2;
}

static py::sequence as_group(py::handle obj, const char* name) {
  if (!PyList_Check(obj.ptr()) && !PyTuple_Check(obj.ptr()))
    throw py::type_error(str(name) + ": a list of connectivities is required");
  return py::reinterpret_borrow<py::sequence>(obj);
}

group index_group(py::handle obj, const char* name) {
  group g;
  for (py::handle item : as_group(obj, name)) g.args.push_back(index_matrix(item, name));
  for (auto& a : g.args) g.views.push_back(a.view);
  return g;
}

group_rw index_group_rw(py::handle obj, const char* name) {
  group_rw g;
  for (py::handle item : as_group(obj, name)) g.args.push_back(index_matrix_rw(item, name));
  for (auto& a : g.args) g.views.push_back(a.view);
  return g;
}

void group_rw::finish(const char* name) {
  for (std::size_t i = 0; i < args.size(); ++i) {
    args[i].view = views[i];
    finish_in_place(args[i], name);
  }
}

long long integer(py::handle obj, const char* name) {
  py::object i = py::reinterpret_steal<py::object>(PyNumber_Index(obj.ptr()));
  if (!i) {
    PyErr_Clear();
    throw py::type_error(str(name) + ": an integer is required, not " + type_name(obj));
  }
  int overflow = 0;
  const long long v = PyLong_AsLongLongAndOverflow(i.ptr(), &overflow);
  if (overflow) throw py::value_error(str(name) + ": out of range");
  return v;
}

double real(py::handle obj, const char* name) {
  if (!obj.is_none() && !PyUnicode_Check(obj.ptr()) && !PyBytes_Check(obj.ptr())) {
    const double v = PyFloat_AsDouble(obj.ptr());
    if (!(v == -1.0 && PyErr_Occurred())) return v;
    PyErr_Clear();
  }
  throw py::type_error(str(name) + ": a real number is required, not " + type_name(obj));
}

element_type kind(py::handle obj, const char* name) {
  const long long v = integer(obj, name);
  if (v < 0 || v > 20) refuse("element_type", name, std::to_string(v) + " is not a kind (0 to 20)");
  return element_type(v);
}

dense1D<int> kinds(py::handle obj, const char* name, std::size_t count) {
  if (!PyList_Check(obj.ptr()) && !PyTuple_Check(obj.ptr()) && !py::isinstance<py::array>(obj))
    throw py::type_error(str(name) + ": one element kind per connectivity is required");
  py::sequence s = py::reinterpret_borrow<py::sequence>(obj);
  if (std::size_t(s.size()) != count)
    throw py::value_error(str(name) + ": " + std::to_string(s.size()) + " kinds for " +
                          std::to_string(count) + " connectivities");
  dense1D<int> f(unsigned(s.size()));
  for (std::size_t i = 0; i < count; ++i) f[unsigned(i)] = kind(s[i], name);
  return f;
}

fixed small(py::handle obj, const char* name, std::initializer_list<unsigned> sizes) {
  fixed f;
  std::string want;
  for (unsigned s : sizes) want += (want.empty() ? "" : " or ") + std::to_string(s);
  if (PyList_Check(obj.ptr()) || PyTuple_Check(obj.ptr())) {
    const Py_ssize_t n = PySequence_Fast_GET_SIZE(obj.ptr());
    PyObject** items = PySequence_Fast_ITEMS(obj.ptr());
    f.n = n <= 9 ? unsigned(n) : 10;
    for (Py_ssize_t i = 0; i < n && i < 9; ++i) {
      f.v[i] = PyFloat_AsDouble(items[i]);
      if (f.v[i] == -1.0 && PyErr_Occurred()) {
        PyErr_Clear();
        throw py::type_error(str(name) + ": numbers are required");
      }
    }
  } else {
    if (obj.is_none() || (PyNumber_Check(obj.ptr()) && !py::isinstance<py::array>(obj)))
      throw py::type_error(str(name) + ": a sequence of " + want + " numbers is required, not " +
                           type_name(obj));
    py::array a = converted<double>(as_array(obj, name), name);
    if (!a) throw py::type_error(str(name) + ": numbers are required");
    f.n = a.size() <= 9 ? unsigned(a.size()) : 10;
    if (a.ndim() == 1 && f.n <= 9)
      std::memcpy(f.v, a.data(), f.n * sizeof(double));
    else
      f.n = 10;
  }
  for (unsigned s : sizes)
    if (f.n == s) return f;
  throw py::value_error(str(name) + ": " + want + " numbers are required");
}

std::string path(py::handle obj, const char* name) {
  py::object p = py::reinterpret_steal<py::object>(PyOS_FSPath(obj.ptr()));
  if (!p) {
    PyErr_Clear();
    throw py::type_error(str(name) + ": a file name (str, bytes or os.PathLike) is required, not " +
                         type_name(obj));
  }
  if (PyUnicode_Check(p.ptr()))
    p = py::reinterpret_steal<py::object>(PyUnicode_EncodeFSDefault(p.ptr()));
  if (!p) throw py::error_already_set();
  std::string s(PyBytes_AS_STRING(p.ptr()), std::size_t(PyBytes_GET_SIZE(p.ptr())));
  if (s.find('\0') != std::string::npos) throw py::value_error(str(name) + ": embedded null byte");
  return s;
}

// ---------------------------------------------------------------------------

py::array out(const dense2D<double>& m) { return out2(m); }
py::array out(const dense2D<unsigned>& m) { return out2(m); }
py::array out(const dense1D<double>& v) { return out1(v); }
py::array out(const dense1D<unsigned>& v) { return out1(v); }
py::array out(const dense1D<int>& v) { return out1(v); }

template <class M>
py::object finish(inout<M>& a) {
  if (a.caller.is_none()) return out(a.view);
  switch (settle(a)) {
    case fate::same: {
      const unsigned cols = dims(a.view).cols;
      if (cols == a.cols) return a.caller;
      return a.caller[py::slice(0, cols, 1)];
    }
    case fate::copied:
      return a.caller;
    default:
      return out(a.view);
  }
}

template <class M>
void finish_in_place(inout<M>& a, const char* name) {
  if (a.caller.is_none() || settle(a) != fate::moved) return;
  const layout l = dims(a.view);
  refuse("in place", name,
         "the service made it " + std::to_string(l.cols) + " x " + std::to_string(l.rows) +
             ", which an array of shape (" + std::to_string(a.cols) + ", " +
             std::to_string(a.rows) + ") cannot hold in place; it was left unchanged");
}

template py::object finish(inout<dense2D<double>>&);
template py::object finish(inout<dense2D<unsigned>>&);
template py::object finish(inout<dense1D<double>>&);
template py::object finish(inout<dense1D<unsigned>>&);
template void finish_in_place(inout<dense2D<double>>&, const char*);
template void finish_in_place(inout<dense2D<unsigned>>&, const char*);
template void finish_in_place(inout<dense1D<double>>&, const char*);
template void finish_in_place(inout<dense1D<unsigned>>&, const char*);

py::array values(const double* v, std::size_t n) {
  py::array_t<double> a(static_cast<py::ssize_t>(n));
  std::memcpy(a.mutable_data(), v, n * sizeof(double));
  return std::move(a);
}

py::array square(const double* v, std::size_t n) {
  py::array_t<double> a(std::vector<py::ssize_t>{py::ssize_t(n), py::ssize_t(n)});
  double* d = a.mutable_data();
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = 0; j < n; ++j) d[i * n + j] = v[j * n + i];
  return std::move(a);
}

// ---------------------------------------------------------------------------

void refuse(const char* service, const char* argument, const std::string& reason) {
  throw py::value_error(str(service) + ": " + argument + ": " + reason);
}

static const fault* row(int status, std::initializer_list<fault> table) {
  for (const fault& f : table)
    if (f.status == status) return &f;
  return nullptr;
}

static void raise_memory(const char* service) {
  PyErr_Format(PyExc_MemoryError, "%s: memory ran out (status -199)", service);
  throw py::error_already_set();
}

int check(int status, const char* service, std::initializer_list<fault> table) {
  if (status >= 0) return status;
  if (status == -199) raise_memory(service);
  const std::string code = " (status " + std::to_string(status) + ")";
  if (const fault* f = row(status, table)) refuse(service, f->argument, f->reason + code);
  throw py::value_error(str(service) + ": failed" + code);
}

int check_file(int status, const char* service, const std::string& filename, bool reading,
               std::initializer_list<fault> table) {
  if (status >= 0 || status == -199) return check(status, service, table);
  const fault* f = row(status, table);
  if (!f || std::strcmp(f->argument, "filename")) return check(status, service, table);
  std::string where = filename;
  if (!reading) {
    const std::size_t slash = filename.rfind('/');
    where = slash == std::string::npos ? "." : slash == 0 ? "/" : filename.substr(0, slash);
  }
  struct stat st;
  const bool missing = ::stat(where.c_str(), &st) != 0;
  const std::string msg =
      str(service) + ": " + f->reason + " (status " + std::to_string(status) + ")";
  py::object name = py::reinterpret_steal<py::object>(
      PyUnicode_DecodeFSDefaultAndSize(filename.data(), Py_ssize_t(filename.size())));
  // OSError(ENOENT, ...) comes out as FileNotFoundError.
  PyObject* e =
      PyObject_CallFunction(PyExc_OSError, "isO", missing ? ENOENT : EIO, msg.c_str(), name.ptr());
  if (e) {
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(e)), e);
    Py_DECREF(e);
  }
  throw py::error_already_set();
}

}  // namespace qz4py
