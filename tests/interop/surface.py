# Surfaces between the library and independent clients: STL (text and
# binary) and OBJ written by meshio and gmsh are read by the library with the
# right counts, and the library's files are read by meshio and gmsh.
import subprocess
import sys

program, work = sys.argv[1], sys.argv[2]
try:
    import meshio
    import numpy
except ImportError as e:
    print(f"SKIPPED: {e.name} missing; install the Debian package python3-meshio")
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
    return tuple(int(x) for x in out.split())


# A closed surface of triangles from meshio's own numbers: an octahedron.
points = numpy.array([[1, 0, 0], [-1, 0, 0], [0, 1, 0], [0, -1, 0], [0, 0, 1], [0, 0, -1]], float)
faces = numpy.array([[0, 2, 4], [2, 1, 4], [1, 3, 4], [3, 0, 4], [2, 0, 5], [1, 2, 5], [3, 1, 5], [0, 3, 5]])
octahedron = meshio.Mesh(points, [("triangle", faces)])
meshio.write(f"{work}/m_text.stl", octahedron, binary=False)
meshio.write(f"{work}/m_binary.stl", octahedron, binary=True)
meshio.write(f"{work}/m.obj", octahedron)
check("meshio text STL read by the library", ours("stl", f"{work}/m_text.stl", "text"), (6, 8, 0))
check("meshio binary STL read by the library", ours("stl", f"{work}/m_binary.stl", "binary"), (6, 8, 0))
check("meshio OBJ read by the library", ours("obj", f"{work}/m.obj"), (6, 8, 0))

# gmsh: a meshed sphere, written as binary and as text STL.
gmsh.initialize()
gmsh.option.setNumber("General.Terminal", 0)
gmsh.model.occ.addSphere(0, 0, 0, 1)
gmsh.model.occ.synchronize()
gmsh.option.setNumber("Mesh.MeshSizeMax", 0.3)
gmsh.model.mesh.generate(2)
types, tags, _ = gmsh.model.mesh.getElements(2)
gmsh_triangles = sum(len(t) for t in tags)
for binary in (1, 0):
    gmsh.option.setNumber("Mesh.Binary", binary)
    gmsh.write(f"{work}/g{binary}.stl")
gmsh.finalize()
for binary in (1, 0):
    got = ours("stl", f"{work}/g{binary}.stl", "binary" if binary else "text")
    check(f"gmsh {'binary' if binary else 'text'} STL triangles read by the library", got[1], gmsh_triangles)

# The library's files read by the clients.
nodes, triangles, _ = ours("surface", work)
for name in ("ours_text.stl", "ours_binary.stl"):
    m = meshio.read(f"{work}/{name}")
    check(f"meshio reads our {name}: triangles", sum(len(c.data) for c in m.cells if c.type == "triangle"), triangles)
    gmsh.initialize()
    gmsh.option.setNumber("General.Terminal", 0)
    gmsh.open(f"{work}/{name}")
    _, tags, _ = gmsh.model.mesh.getElements(2)
    check(f"gmsh reads our {name}: triangles", sum(len(t) for t in tags), triangles)
    gmsh.finalize()
# Our OBJ runs the corners of a face together, which no reader splits: the
# nodes come back, the faces do not.
m = meshio.read(f"{work}/ours.obj")
check("meshio reads our OBJ: nodes", len(m.points), nodes)

if failures:
    print("FAILED:\n  " + "\n  ".join(failures))
    sys.exit(1)
