// Structured meshes for tests, benchmarks and examples.
//
// Every generator returns a `mesh`: node coordinates (one node per column),
// one connectivity and its element kind. Grids cover the unit square or the
// unit cube with nx by ny (by nz) cells; solid and face elements are
// positively oriented and every grid is conforming, so interior boundaries
// are shared by exactly two elements. Numbering is lexicographic (x fastest)
// until `shuffle` scrambles it with a fixed seed, identically on every
// platform.
#ifndef QZ4_SUPPORT_STRUCTURED_MESH_H
#define QZ4_SUPPORT_STRUCTURED_MESH_H

#include "qz4/dense.h"
#include "qz4/element_type.h"

namespace qz4 {
namespace support {

struct mesh {
  dense2D<double> pos;     // 2 rows for lines and faces in the plane, 3 otherwise
  dense2D<unsigned> conn;  // one element per column
  element_type type = ET_NONE;
};

/// A polyline of n ET_EDGE2 elements along the x axis (2-row pos, n + 1 nodes).
mesh edge_grid(unsigned n);

/// A closed polygon of n >= 3 ET_EDGE2 elements on the unit circle: every node
/// is shared by exactly two edges.
mesh edge_loop(unsigned n);

/// 2 * nx * ny ET_TRIA3, each cell split along its (i,j)-(i+1,j+1) diagonal.
mesh tria_grid(unsigned nx, unsigned ny);

/// nx * ny ET_QUAD4.
mesh quad_grid(unsigned nx, unsigned ny);

/// A 4-row ET_FACE_MIXED grid: cell (i,j) is split into two triangles (row 3
/// NO_ID) when (i + 2j) % 3 == 0, and is a quadrangle otherwise.
mesh mixed_face_grid(unsigned nx, unsigned ny);

/// nx * ny * nz ET_HEXA8.
mesh hexa_grid(unsigned nx, unsigned ny, unsigned nz);

/// 6 * nx * ny * nz ET_TETRA4: every cell is cut into the six tetrahedra
/// around its (0,0,0)-(1,1,1) diagonal.
mesh tetra_grid(unsigned nx, unsigned ny, unsigned nz);

/// 2 * nx * ny * nz ET_PENTA6: every cell is cut along the vertical plane
/// through its (0,0)-(1,1) diagonal.
mesh penta_grid(unsigned nx, unsigned ny, unsigned nz);

/// 6 * nx * ny * nz ET_PYRA5: one pyramid per cell face, with its apex at a
/// node added in the cell's centre (nodes of cell centres follow the grid's).
mesh pyra_grid(unsigned nx, unsigned ny, unsigned nz);

/// An 8-row ET_SOLID_MIXED grid of all four shapes. Each cell face is either
/// kept whole or cut into two triangles, by a fixed rule on its position.
/// A cell with no cut face stays a hexahedron; one with only its top and
/// bottom cut becomes two wedges; any other gets a centre node and one
/// pyramid per whole face plus two tetrahedra per cut face. From 3x3x3 on,
/// every shape is present.
mesh mixed_solid_grid(unsigned nx, unsigned ny, unsigned nz);

/// The closed surface of the unit cube, nx by ny by nz cells on its faces,
/// with outward orientation. `type` is ET_TRIA3 (4(nx ny + ny nz + nz nx)
/// triangles), ET_QUAD4, or ET_FACE_MIXED (cells cut as in mixed_face_grid).
mesh box_surface(unsigned nx, unsigned ny, unsigned nz, element_type type = ET_TRIA3);

/// Renumbers the nodes and reorders the elements by two Fisher-Yates shuffles
/// driven by std::mt19937(seed). Positions move with their nodes and NO_ID
/// padding stays; the local order inside each column is kept.
void shuffle(mesh& m, unsigned seed);

/// A deep copy of `m` laid out with `gap` unused rows below each column (so
/// ld() == rows() + gap), the gap filled with `filler`. Services must give
/// it the results of the compact matrix.
dense2D<unsigned> with_gap(const dense2D<unsigned>& m, unsigned gap, unsigned filler = 0xDEADBEEFu);
dense2D<double> with_gap(const dense2D<double>& m, unsigned gap, double filler = -1e300);

}  // namespace support
}  // namespace qz4

#endif
