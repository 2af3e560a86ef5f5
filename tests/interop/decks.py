# NASTRAN decks between the library and independent clients. Decks written by
# meshio and gmsh are read with the result the library gives them: meshio's
# with property numbers read whole (node ids from 1, so column 0 is a node of
# zeros); meshio's without property numbers leave the property field blank,
# the cards come short and the read fails; gmsh writes no "BEGIN BULK", so
# its decks read as -1. The library's deck is read by gmsh with the right
# counts; meshio refuses it, since its GRID* cards put x where the format has
# the coordinate system number.
import subprocess
import sys

program, work = sys.argv[1], sys.argv[2]
try:
    import meshio
    import numpy
except ImportError:
    print("SKIPPED: meshio missing; install the Debian package python3-meshio")
    sys.exit(77)
try:
    import gmsh
except ImportError:
    print("SKIPPED: gmsh missing; install the Debian package python3-gmsh")
    sys.exit(77)

failures = []


def check(what, got, expected):
    if got != expected:
        failures.append(f"{what}: got {got}, expected {expected}")
    print(f"{what}: {got}")


def ours(*args):
    out = subprocess.run([program, *args], check=True, capture_output=True, text=True).stdout
    return [int(x) for x in out.split()]


points = numpy.array([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [2, 0, 0]], float)
cells = [("triangle", numpy.array([[1, 4, 2]])), ("quad", numpy.array([[0, 1, 2, 3]]))]
meshio.write(f"{work}/m_refs.nas", meshio.Mesh(points, cells, cell_data={"nastran:ref": [[7], [8]]}))
meshio.write(f"{work}/m.nas", meshio.Mesh(points, cells))
check("meshio deck with properties", ours("deck", f"{work}/m_refs.nas"), [0, 6, 2, 2, 2, 5, 3])
check("meshio deck without properties", ours("deck", f"{work}/m.nas")[0], -1)

gmsh.initialize()
gmsh.option.setNumber("General.Terminal", 0)
gmsh.model.occ.addBox(0, 0, 0, 1, 1, 1)
gmsh.model.occ.synchronize()
gmsh.option.setNumber("Mesh.MeshSizeMax", 0.5)
gmsh.model.mesh.generate(3)
gmsh.write(f"{work}/g.bdf")
gmsh.finalize()
check("gmsh deck (no BEGIN BULK)", ours("deck", f"{work}/g.bdf")[0], -1)

nodes, elements = ours("decks", work)
gmsh.initialize()
gmsh.option.setNumber("General.Terminal", 0)
gmsh.open(f"{work}/ours.bdf")
check("gmsh reads our deck: nodes", len(gmsh.model.mesh.getNodes()[0]), nodes)
check("gmsh reads our deck: elements", sum(len(e) for e in gmsh.model.mesh.getElements(2)[1]), elements)
gmsh.finalize()
try:
    meshio.read(f"{work}/ours.bdf")
    check("meshio refuses our deck (x in the CP field)", "read", "refused")
except ValueError:
    check("meshio refuses our deck (x in the CP field)", "refused", "refused")

if failures:
    print("FAILED:\n  " + "\n  ".join(failures))
    sys.exit(1)
