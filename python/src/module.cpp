// The extension module qz4tessellix._core: element kinds, the version, the
// histogram class, and every service of the library (one file per subsystem).
#include <mutex>

#include "arrays.h"
#include "histogram.h"

namespace qz4py {

namespace {

const char* const kind_names[21] = {
    "ET_NONE",   "ET_NODE",    "ET_EDGE_MIXED", "ET_EDGE2",  "ET_EDGE3",  "ET_FACE_MIXED",
    "ET_TRIA3",  "ET_QUAD4",   "ET_TRIA6",      "ET_QUAD8",  "ET_QUAD9",  "ET_SOLID_MIXED",
    "ET_TETRA4", "ET_TETRA10", "ET_PYRA5",      "ET_PYRA14", "ET_PENTA6", "ET_PENTA18",
    "ET_HEXA8",  "ET_HEXA20",  "ET_HEXA27"};

void bind_histogram(py::module_& m) {
  py::class_<histogram>(m, "histogram", R"(Counts values in equal bins.

histogram() finds its range from the data (10 bins) and keeps the values;
histogram(lo, hi, bins) bins as it goes over the fixed range [lo, hi] (a value
equal to hi falls in the last bin) and counts values outside it apart. NaN
values are counted by count and nan_count, by no bin and no statistic.)")
      .def(py::init<>())
      .def(
          py::init([](double lo, double hi, unsigned bins) { return new histogram(lo, hi, bins); }),
          py::arg("lo"), py::arg("hi"), py::arg("bins"))
      .def(
          "process",
          [](histogram& h, py::handle v) {
            if (ndim_of(v) == 0) {
              const double x = v.cast<double>();
              h.use([&](qz4::misc::histogram& g) { g.process(x); });
              return;
            }
            auto a = real_vector(v, "v");
            h.use([&](qz4::misc::histogram& g) { g.process(a.view); });
          },
          py::arg("v"), "Adds one value, or every value of a 1-D array.")
      .def_property_readonly(
          "count", [](histogram& h) { return h.read([](auto& g) { return g.count(); }); },
          "Values fed, NaN included.")
      .def_property_readonly(
          "nan_count", [](histogram& h) { return h.read([](auto& g) { return g.nan_count(); }); })
      .def_property_readonly(
          "min", [](histogram& h) { return h.read([](auto& g) { return g.min(); }); },
          "Smallest value fed; +inf before any.")
      .def_property_readonly(
          "max", [](histogram& h) { return h.read([](auto& g) { return g.max(); }); },
          "Largest value fed; -inf before any.")
      .def_property_readonly(
          "mean", [](histogram& h) { return h.read([](auto& g) { return g.mean(); }); },
          "Mean of the values that are not NaN; NaN before any.")
      .def_property_readonly(
          "lower", [](histogram& h) { return h.read([](auto& g) { return g.lower(); }); },
          "Lower bound of the bins.")
      .def_property_readonly(
          "upper", [](histogram& h) { return h.read([](auto& g) { return g.upper(); }); },
          "Upper bound of the bins.")
      .def_property_readonly(
          "below", [](histogram& h) { return h.read([](auto& g) { return g.below(); }); },
          "Values below lower (always 0 without a fixed range).")
      .def_property_readonly(
          "above", [](histogram& h) { return h.read([](auto& g) { return g.above(); }); },
          "Values above upper (always 0 without a fixed range).")
      .def_property_readonly(
          "bins",
          [](histogram& h) {
            const auto b = h.read([](auto& g) { return g.bins(); });
            py::array_t<unsigned long long> a(py::ssize_t(b.size()));
            for (std::size_t i = 0; i < b.size(); ++i) a.mutable_data()[i] = b[i];
            return a;
          },
          "Count of each bin, lowest first (a 1-D uint64 array).")
      .def(
          "summary", [](histogram& h) { return h.read([](auto& g) { return g.summary(); }); },
          "A printable table: one line per bin with its bounds and count, then the count, min, "
          "mean and max.")
      .def("__str__", [](histogram& h) { return h.read([](auto& g) { return g.summary(); }); })
      .def("__repr__", [](histogram& h) {
        return h.read([](auto& g) {
          return "<qz4tessellix.histogram of " + std::to_string(g.count()) + " values>";
        });
      });
}

}  // namespace

}  // namespace qz4py

PYBIND11_MODULE(_core, m) {
  using namespace qz4py;
  m.doc() = "qz4tessellix: mesh utilities for finite-element pre- and post-processing.";

  py::enum_<element_type> kinds(m, "element_type", py::arithmetic(),
                                "The element kinds; the value is the library's code (0 to 20).");
  for (int k = 0; k < 21; ++k) kinds.value(kind_names[k], element_type(k));
  kinds.export_values();

  m.attr("NO_ID") = py::int_(qz4::NO_ID);
  py::tuple nodes(21), corners(21);
  for (int k = 0; k < 21; ++k) {
    nodes[k] = py::int_(qz4::element_nodes[k]);
    corners[k] = py::int_(qz4::element_corners[k]);
  }
  m.attr("element_nodes") = nodes;
  m.attr("element_corners") = corners;

  m.def(
      "version", [] { return std::string(qz4::tessellix::version()); },
      "The library's version, \"4.2\".");

  bind_histogram(m);
  bind_core(m);
  bind_topology(m);
  bind_editing(m);
  bind_metrics(m);
  bind_quality(m);
  bind_formats(m);
}
