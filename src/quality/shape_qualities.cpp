// Shape qualities: one closed-form measure per element kind.
//
// Every measure is 1 on the ideal element of its kind, 0 on a flat one, and
// carries the sign of the orientation where one exists. Solids build on the
// face and tetrahedron measures: a pyramid, a wedge or a hexahedron that
// looks good by its faces and corners but hides an inverted or flat piece
// (found by cutting it into tetrahedra and pyramids around its centroid)
// takes the value of that piece instead.
//
// One table maps a kind to the kind its connectivity is checked as and to
// the loop that measures it; the loops are instantiated per shape and per
// form of the coordinates (plane, space, other row counts), so the hot path
// reads the node columns without any per-element test of the row count.
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "core/element_tables.h"
#include "core/prefetch.h"
#include "qz4/tessellix/quality.h"

namespace qz4 {
namespace tessellix {
namespace {

struct vec {
  double x, y, z;
};

inline vec operator-(const vec& a, const vec& b) { return vec{a.x - b.x, a.y - b.y, a.z - b.z}; }
inline double dot(const vec& a, const vec& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline vec cross(const vec& a, const vec& b) {
  return vec{a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double norm2(const vec& a) { return dot(a, a); }
inline double norm(const vec& a) { return std::sqrt(dot(a, a)); }

constexpr double two_sqrt3 = 3.4641016151377544;
constexpr double sqrt6 = 2.449489742783178;
constexpr double four_sqrt2 = 5.656854249492381;
constexpr double flat = 1e-12;
constexpr double sixth = 0.16666666666666666;
// Below this the tetrahedron's fast form has lost too many digits.
const double tetra_limit = std::sqrt(flat);

// NaN passes through: it compares false both ways.
inline double clamp(double x, double lo, double hi) { return x > hi ? hi : (x < lo ? lo : x); }
inline double lower(double m, double v) { return v < m ? v : m; }

// How the row count of the coordinates shapes the face measures.
enum form { plane, space, other };

inline form form_of(unsigned rows) { return rows == 2 ? plane : rows == 3 ? space : other; }

// Reads node columns as 3D points. In the plane z is 0; for other row counts
// the first three rows are read and missing ones are 0.
template <int F>
struct loader {
  const double* p;
  std::size_t ld;
  unsigned rows;

  vec operator()(unsigned id) const {
    const double* c = p + std::size_t(id) * ld;
    if (F == plane) return vec{c[0], c[1], 0.0};
    if (F == space) return vec{c[0], c[1], c[2]};
    return vec{rows > 0 ? c[0] : 0.0, rows > 1 ? c[1] : 0.0, rows > 2 ? c[2] : 0.0};
  }
};

// --- Faces -----------------------------------------------------------------

template <int F>
double triangle(const vec& p0, const vec& p1, const vec& p2) {
  if (F == other) return 0.0;
  const double a = norm(p0 - p1), b = norm(p0 - p2), c = norm(p1 - p2);
  double h = a;
  if (b > h) h = b;
  if (c > h) h = c;
  if (h <= 0) return 0.0;
  if (F == plane) {
    const double twice_area = (p2.y - p0.y) * (p1.x - p0.x) - (p1.y - p0.y) * (p2.x - p0.x);
    return clamp(twice_area / (h * (a + b + c)) * two_sqrt3, -1.0, 1.0);
  }
  const double q = norm(cross(p0 - p2, p1 - p2)) / (h * (a + b + c)) * two_sqrt3;
  return q > 1.0 ? 1.0 : q;
}

template <int F>
double quadrangle(const vec& p0, const vec& p1, const vec& p2, const vec& p3) {
  const vec e[4] = {p1 - p0, p2 - p1, p3 - p2, p0 - p3};
  double L = 0, h = 0;
  for (const vec& ei : e) {
    const double l = norm(ei);
    L += l;
    if (l > h) h = l;
  }
  const double d1 = norm(p2 - p0), d2 = norm(p3 - p1);
  const double dmax = d1 > d2 ? d1 : d2, dmin = d1 > d2 ? d2 : d1;
  if (dmax > h) h = dmax;
  if (F == plane) {
    double cmin = DBL_MAX;
    for (unsigned i = 0; i < 4; ++i) {
      const vec& u = e[(i + 3) % 4];
      cmin = lower(cmin, u.x * e[i].y - u.y * e[i].x);
    }
    if (dmax <= 0) return 0.0;
    return clamp(std::sqrt(dmin / dmax) * (cmin * four_sqrt2) / (L * h), -1.0, 1.0);
  }
  const vec n[4] = {cross(e[0], e[1]), cross(e[1], e[2]), cross(e[2], e[3]), cross(e[3], e[0])};
  const double s[4] = {norm2(n[0]), norm2(n[1]), norm2(n[2]), norm2(n[3])};
  const double m = std::sqrt(lower(lower(lower(s[0], s[1]), s[2]), s[3]));
  const double base = dmax > 0 ? (m * four_sqrt2) / (h * L) * std::sqrt(dmin / dmax) : 0.0;
  // Opposite corner normals agree on a planar convex quadrangle and turn away
  // from each other as it folds; a flat corner scores 0.
  double w = 0;
  if (s[0] * s[2] > 0 && s[1] * s[3] > 0) {
    const double c02 = dot(n[0], n[2]) / std::sqrt(s[0] * s[2]);
    const double c13 = dot(n[1], n[3]) / std::sqrt(s[1] * s[3]);
    w = (1 + (c13 < c02 ? c13 : c02)) / 2;
  }
  return clamp(w * base, 0.0, 1.0);
}

// --- Tetrahedron -----------------------------------------------------------

// The measure from the four face areas, the largest edge and the volume,
// computed directly from the edge vectors: slower than the fast form but
// without its cancellations.
double tetra_careful(const vec& pi, const vec& pj, const vec& pk, const vec& pl) {
  const vec a = pi - pl, b = pj - pl, c = pk - pl;
  const vec ab = a - b, ac = a - c, bc = b - c;
  double hmax = 0;
  for (const vec* v : {&a, &b, &c, &ab, &ac, &bc}) {
    const double l = norm(*v);
    if (l > hmax) hmax = l;
  }
  const double E =
      (norm(cross(ab, ac)) + norm(cross(a, b)) + norm(cross(a, c)) + norm(cross(b, c))) / 2 * hmax;
  if (!(E > 0)) return 0.0;
  return clamp(dot(a, cross(b, c)) * sqrt6 / E, -1.0, 1.0);
}

double tetra(const vec& p0, const vec& p1, const vec& p2, const vec& p3) {
  const vec a = p0 - p3, b = p1 - p3, c = p2 - p3;
  const double aa = dot(a, a), bb = dot(b, b), cc = dot(c, c);
  const double ab = dot(a, b), ac = dot(a, c), bc = dot(b, c);
  const double lab = aa + bb - 2 * ab, lac = aa + cc - 2 * ac, lbc = bb + cc - 2 * bc;
  const double s0 = aa * bb - ab * ab, s1 = aa * cc - ac * ac, s2 = bb * cc - bc * bc;
  const double t = aa + bc - ab - ac;
  const double s3 = lac * lab - t * t;
  const double det = dot(a, cross(b, c));
  double D = 0;
  if (s0 > 0 && s1 > 0 && s2 > 0 && s3 > 0)
    D = std::sqrt(s0) + std::sqrt(s1) + std::sqrt(s2) + std::sqrt(s3);
  double h2 = aa;
  for (double l : {bb, cc, lab, lac, lbc})
    if (l > h2) h2 = l;
  const double E = D * std::sqrt(h2) / 2;
  const double Q = E > 0 ? clamp(det * sqrt6 / E, -1.0, 1.0) : 0.0;
  if (tetra_limit <= std::fabs(Q)) return Q;

  // Nearly flat: the four ways of rounding the volume (each node as origin)
  // must agree in sign, and the value nearest to 0 stands.
  const vec* P[4] = {&p0, &p1, &p2, &p3};
  static constexpr unsigned char rows[3][4] = {{1, 2, 0, 3}, {2, 0, 1, 3}, {3, 0, 2, 1}};
  double best = tetra_careful(p0, p1, p2, p3);
  for (const auto& r : rows) {
    if (best == 0) break;
    const double v = tetra_careful(*P[r[0]], *P[r[1]], *P[r[2]], *P[r[3]]);
    if (best > 0 && best > v) best = v > 0 ? v : 0.0;
    if (best < 0 && best < v) best = v < 0 ? v : 0.0;
  }
  return best;
}

// --- Pyramid ---------------------------------------------------------------

// How square the base looks from the apex P[4], from the two diagonals.
double pyramid_apex(const vec* P) {
  const vec e0 = P[0] - P[4], e1 = P[1] - P[4], e2 = P[2] - P[4], e3 = P[3] - P[4];
  const vec d1 = P[2] - P[0], d2 = P[3] - P[1];
  const double T1 = dot(cross(e0, d2), e2);
  const double N1 = std::sqrt(norm2(d2) * norm2(e2) * norm2(e0));
  const double A = N1 > 0 ? T1 / N1 : T1;
  const double T2 = dot(cross(d1, e1), e3);
  const double N2 = std::sqrt(norm2(d1) * norm2(e3) * norm2(e1));
  const double B = N2 > 0 ? T2 / N2 : T2;
  double t;
  if (A > 0 && B > 0) {
    t = A < B ? A : B;
  } else if (A < 0 && B < 0) {
    t = A > B ? A : B;
  } else {
    return 0.0;
  }
  return clamp(t, -1.0, 1.0);
}

// P[0..3] the base, P[4] the apex; F the form of the base's measure.
template <int F>
double pyramid(const vec* P) {
  double u = 1.0;
  for (unsigned i = 0; i < 4; ++i) u = lower(u, tetra(P[i], P[(i + 2) % 4], P[(i + 1) % 4], P[4]));
  const double a = pyramid_apex(P);
  const double q = quadrangle<F>(P[0], P[1], P[2], P[3]);
  const double s = a >= 0 ? std::sqrt(a * q) : -std::sqrt(-(a * q));
  return s > flat && u < flat ? u : s;
}

// The pyramid on face f of a solid's node set P, with apex g.
inline double sub_pyramid(const vec* P, const unsigned char* f, const vec& g) {
  const vec Q[5] = {P[f[0]], P[f[1]], P[f[2]], P[f[3]], g};
  return pyramid<space>(Q);
}

// --- Wedge and hexahedron --------------------------------------------------

// Cosine-like corner term at d of the triad (a, b, c): the triple product
// over the lengths of the base normal and of the third edge.
inline double wedge_corner(const vec* P, unsigned a, unsigned b, unsigned c, unsigned d) {
  const vec n = cross(P[a] - P[d], P[b] - P[d]);
  const vec w = P[c] - P[d];
  const double t = dot(n, w);
  const double r = std::sqrt(norm2(w) * norm2(n));
  return r == 0 ? t : t / r;
}

template <int F>
double wedge(const vec* P) {
  double m = 1.0, sum = 0;
  for (unsigned i = 0; i < 3; ++i) {
    const unsigned j = (i + 1) % 3, k = (i + 2) % 3;
    const double lo = wedge_corner(P, j, k, i + 3, i);
    const double hi = -wedge_corner(P, j + 3, k + 3, i, i + 3);
    m = lower(lower(m, lo), hi);
    sum += std::fabs(lo) + std::fabs(hi);
  }
  const double C = m * std::sqrt(sum * sixth);

  const auto& faces = detail::penta_boundaries.v;
  double Fq = triangle<F>(P[0], P[1], P[2]);
  Fq = lower(Fq, triangle<F>(P[3], P[4], P[5]));
  for (unsigned f = 2; f < 5; ++f)
    Fq = lower(Fq, quadrangle<F>(P[faces[f][0]], P[faces[f][1]], P[faces[f][2]], P[faces[f][3]]));

  vec g{0, 0, 0};
  for (unsigned i = 0; i < 6; ++i) g = vec{g.x + P[i].x, g.y + P[i].y, g.z + P[i].z};
  g = vec{g.x * sixth, g.y * sixth, g.z * sixth};
  double V = 1.0;
  V = lower(V, -tetra(P[0], P[1], P[2], g));
  V = lower(V, -tetra(P[3], P[5], P[4], g));
  for (unsigned f = 2; f < 5; ++f) V = lower(V, sub_pyramid(P, faces[f], g));

  const double Q = Fq * C;
  return Q > flat && V < flat ? V : Q;
}

template <int F>
double hexahedron(const vec* P) {
  double m = 1.0, sum = 0;
  for (unsigned i = 0; i < 8; ++i) {
    const unsigned char* t = detail::hexa_corner_triads[i];
    const vec u = P[t[0]] - P[i], v = P[t[1]] - P[i], w = P[t[2]] - P[i];
    const double triple = dot(cross(u, v), w);
    const double r = std::sqrt(norm2(u) * norm2(v) * norm2(w));
    const double value = clamp(r == 0 ? triple : triple / r, -1.0, 1.0);
    m = lower(m, value);
    sum += std::fabs(value);
  }
  const double C = m * std::sqrt(sum * 0.125);

  const auto& faces = detail::hexa_boundaries.v;
  double Fq = 1.0;
  for (const auto& f : faces) Fq = lower(Fq, quadrangle<F>(P[f[0]], P[f[1]], P[f[2]], P[f[3]]));

  vec g{0, 0, 0};
  for (unsigned i = 0; i < 8; ++i) g = vec{g.x + P[i].x, g.y + P[i].y, g.z + P[i].z};
  g = vec{g.x * 0.125, g.y * 0.125, g.z * 0.125};
  double V = 1.0;
  for (const auto& f : faces) V = lower(V, sub_pyramid(P, f, g));

  const double Q = Fq * C;
  return Q > flat && V < flat ? V : Q;
}

// --- Per-kind loops ----------------------------------------------------------

// Each shape measures one column through a loader of its form.
struct edge_shape {
  template <int F, class L>
  static double of(const unsigned*, const L&) {
    return 1.0;
  }
};
struct tria_shape {
  template <int F, class L>
  static double of(const unsigned* c, const L& at) {
    return triangle<F>(at(c[0]), at(c[1]), at(c[2]));
  }
};
struct quad_shape {
  template <int F, class L>
  static double of(const unsigned* c, const L& at) {
    return quadrangle<F>(at(c[0]), at(c[1]), at(c[2]), at(c[3]));
  }
};
struct face_mixed_shape {
  template <int F, class L>
  static double of(const unsigned* c, const L& at) {
    return detail::face_shape(c) == ET_TRIA3 ? tria_shape::of<F>(c, at) : quad_shape::of<F>(c, at);
  }
};
struct tetra_shape {
  template <int F, class L>
  static double of(const unsigned* c, const L& at) {
    return tetra(at(c[0]), at(c[1]), at(c[2]), at(c[3]));
  }
};
// Solids gather their nodes once, then measure.
template <unsigned N, class L>
inline void gather(vec* P, const unsigned* c, const L& at) {
  for (unsigned i = 0; i < N; ++i) P[i] = at(c[i]);
}
struct pyra_shape {
  template <int F, class L>
  static double of(const unsigned* c, const L& at) {
    vec P[5];
    gather<5>(P, c, at);
    return pyramid<F>(P);
  }
};
struct penta_shape {
  template <int F, class L>
  static double of(const unsigned* c, const L& at) {
    vec P[6];
    gather<6>(P, c, at);
    return wedge<F>(P);
  }
};
struct hexa_shape {
  template <int F, class L>
  static double of(const unsigned* c, const L& at) {
    vec P[8];
    gather<8>(P, c, at);
    return hexahedron<F>(P);
  }
};

template <class S, int F>
void measure_form(const dense2D<double>& pos, const dense2D<unsigned>& conn, double* out) {
  const loader<F> at{pos.data(), pos.ld(), pos.rows()};
  const unsigned* col = conn.data();
  const std::size_t ld = conn.ld(), ahead = detail::prefetch_distance * ld;
  const unsigned n = conn.cols(), rows = conn.rows(), nodes = pos.cols();
  // On a shuffled numbering every element reads nodes far apart: ask for
  // those of a later element while measuring this one.
  for (unsigned e = 0; e < n; ++e, col += ld) {
    if (e + detail::prefetch_distance < n)
      for (unsigned r = 0; r < rows; ++r)
        if (col[ahead + r] < nodes)
          detail::prefetch(pos.data() + std::size_t(col[ahead + r]) * pos.ld());
    out[e] = S::template of<F>(col, at);
  }
}

template <class S>
void measure_all(const dense2D<double>& pos, const dense2D<unsigned>& conn, double* out) {
  switch (form_of(pos.rows())) {
    case plane:
      return measure_form<S, plane>(pos, conn, out);
    case space:
      return measure_form<S, space>(pos, conn, out);
    default:
      return measure_form<S, other>(pos, conn, out);
  }
}

struct measure_entry {
  element_type checked_as;
  void (*run)(const dense2D<double>&, const dense2D<unsigned>&, double*);
};

const measure_entry edge_entry = {ET_EDGE2, &measure_all<edge_shape>};
const measure_entry tria_entry = {ET_TRIA3, &measure_all<tria_shape>};
const measure_entry quad_entry = {ET_QUAD4, &measure_all<quad_shape>};
const measure_entry face_mixed_entry = {ET_FACE_MIXED, &measure_all<face_mixed_shape>};
const measure_entry tetra_entry = {ET_TETRA4, &measure_all<tetra_shape>};
const measure_entry pyra_entry = {ET_PYRA5, &measure_all<pyra_shape>};
const measure_entry penta_entry = {ET_PENTA6, &measure_all<penta_shape>};
const measure_entry hexa_entry = {ET_HEXA8, &measure_all<hexa_shape>};

// The measure of a kind, for a connectivity of `rows` rows; null when the
// kind has none. Mixed kinds resolve by the row count.
const measure_entry* measure_of(element_type type, unsigned rows) {
  switch (type) {
    case ET_EDGE2:
      return &edge_entry;
    case ET_TRIA3:
      return &tria_entry;
    case ET_QUAD4:
      return &quad_entry;
    case ET_FACE_MIXED:
      return rows == 3 ? &tria_entry : &face_mixed_entry;
    case ET_TETRA4:
      return &tetra_entry;
    case ET_PYRA5:
      return &pyra_entry;
    case ET_PENTA6:
      return &penta_entry;
    case ET_HEXA8:
      return &hexa_entry;
    case ET_SOLID_MIXED:
      return rows == 4   ? &tetra_entry
             : rows == 5 ? &pyra_entry
             : rows == 6 ? &penta_entry
                         : &hexa_entry;
    default:
      return nullptr;
  }
}

// The range form over kinds given as a plain array, shared by the forms that
// take flags and the single histogram form.
int range_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                    const dense2D<unsigned>* last, const int* kinds, std::size_t nkinds,
                    dense1D<double>& qualities) {
  qualities.clear();
  if (first > last) return -3;
  if (std::size_t(last - first) != nkinds) return -4;
  std::uint64_t total = 0;
  for (const dense2D<unsigned>* m = first; m != last; ++m) total += m->cols();
  if (total > 0xFFFFFFFFu || !qualities.resize(unsigned(total), 0.0)) {
    qualities.clear();
    return -199;
  }
  unsigned at = 0;
  for (const dense2D<unsigned>* m = first; m != last; ++m) {
    if (!m->empty()) {
      dense1D<double> part = qualities.sub_vector(at, m->cols());
      const int status = shape_qualities(pos, *m, element_type(kinds[m - first]), part);
      if (status != 0) {
        qualities.clear();
        return status;
      }
    }
    at += m->cols();
  }
  return 0;
}

}  // namespace

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                    element_type type, dense1D<double>& qualities) {
  qualities.clear();
  const measure_entry* measure = measure_of(type, connectivity.rows());
  if (!measure) return -3;
  if (connectivity.empty()) return 0;
  if (!check_IDs(connectivity, measure->checked_as, pos.cols())) return -2;
  if (!qualities.resize(connectivity.cols(), 0.0)) {
    qualities.clear();
    return -199;
  }
  measure->run(pos, connectivity, qualities.data());
  return 0;
}

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                    const dense2D<unsigned>* last, const dense1D<int>& flags,
                    dense1D<double>& qualities) {
  return range_qualities(pos, first, last, flags.data(), flags.size(), qualities);
}

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                    const dense2D<unsigned>* last, const dense1D<int>& flags, misc::histogram& h) {
  dense1D<double> values;
  const int status = range_qualities(pos, first, last, flags.data(), flags.size(), values);
  if (status == 0) h.process(values);
  return status;
}

int shape_qualities(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                    element_type type, misc::histogram& h) {
  const int kind = int(type);
  dense1D<double> values;
  const int status = range_qualities(pos, &connectivity, &connectivity + 1, &kind, 1, values);
  if (status == 0) h.process(values);
  return status;
}

}  // namespace tessellix
}  // namespace qz4
