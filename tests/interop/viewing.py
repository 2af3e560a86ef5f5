# Viewing files written by the library, opened by independent readers: meshio
# (MEDIT and VTK), VTK's own legacy reader and gmsh (MEDIT). Each must find
# the nodes, the cells and the coordinates that were written; pyramids and
# wedges are collapsed hexahedra in MEDIT, so kinds are not compared.
import subprocess
import sys

program, work = sys.argv[1], sys.argv[2]
missing = []
try:
    import meshio
except ImportError:
    missing.append("meshio (python3-meshio)")
try:
    import vtk
except ImportError:
    missing.append("vtk (python3-vtk9)")
try:
    import gmsh
except ImportError:
    missing.append("gmsh (python3-gmsh)")
if missing:
    print("SKIPPED: missing " + ", ".join(missing) + "; install the Debian packages named")
    sys.exit(77)

out = subprocess.run([program, "viewing", work], check=True, capture_output=True, text=True).stdout.split()
nodes, cells = int(out[0]), int(out[1])
node1 = [float(x) for x in out[2:5]]
failures = []


def check(what, got, expected):
    if got != expected:
        failures.append(f"{what}: got {got}, expected {expected}")
    print(f"{what}: {got}")


def near(a, b):
    return all(abs(x - y) <= 1e-6 * max(1.0, abs(y)) for x, y in zip(a, b))


for name in ("mesh.mesh", "mesh.vtk"):
    m = meshio.read(f"{work}/{name}")
    check(f"meshio {name} nodes", len(m.points), nodes)
    check(f"meshio {name} cells", sum(len(c.data) for c in m.cells), cells)
    check(f"meshio {name} node 1", near(list(m.points[1]), node1), True)

reader = vtk.vtkUnstructuredGridReader()
reader.SetFileName(f"{work}/mesh.vtk")
reader.ReadAllScalarsOn()
reader.Update()
grid = reader.GetOutput()
check("VTK reader nodes", grid.GetNumberOfPoints(), nodes)
check("VTK reader cells", grid.GetNumberOfCells(), cells)
check("VTK reader node 1", near(list(grid.GetPoint(1)), node1), True)
sizes = grid.GetPointData().GetArray("size")
check("VTK reader size field", sizes.GetNumberOfTuples() if sizes else 0, nodes)

gmsh.initialize()
gmsh.option.setNumber("General.Terminal", 0)
gmsh.open(f"{work}/mesh.mesh")
tags, coords, _ = gmsh.model.mesh.getNodes()
check("gmsh MEDIT nodes", len(tags), nodes)
_, elements, _ = gmsh.model.mesh.getElements(3)
check("gmsh MEDIT cells", sum(len(e) for e in elements), cells)
gmsh.finalize()

header = open(f"{work}/metric.sol").readline().split()
check("tensor solution header", header, ["3", "6", str(nodes), "2"])

if failures:
    print("FAILED:\n  " + "\n  ".join(failures))
    sys.exit(1)
