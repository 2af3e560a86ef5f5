# Files written by independent programs, read by the library: MEDIT meshes
# from gmsh (first and second order) and meshio (text and binary), legacy
# VTK from gmsh, meshio (ASCII and binary) and VTK's own writers (ASCII and
# binary, unstructured grids and polygonal data). For each file the library
# must find what the client's own reader finds: the nodes (count and the sum
# of the coordinates), the elements of each kind (count and the sum of their
# node numbers) and, for MEDIT, the sum of their references.
import subprocess
import sys

program, work = sys.argv[1], sys.argv[2]
missing = []
for module, package in (("meshio", "python3-meshio"), ("vtk", "python3-vtk9"), ("gmsh", "python3-gmsh")):
    try:
        __import__(module)
    except ImportError:
        missing.append(f"{module} ({package})")
if missing:
    print("SKIPPED: missing " + ", ".join(missing) + "; install the Debian packages named")
    sys.exit(77)
import gmsh
import meshio
import numpy as np
import vtk

# Kind numbers of the library by meshio's cell names and by VTK's cell types.
KINDS = {"vertex": 1, "line": 3, "line3": 4, "triangle": 6, "quad": 7, "triangle6": 8, "quad8": 9,
         "quad9": 10, "tetra": 12, "tetra10": 13, "pyramid": 14, "wedge": 16, "hexahedron": 18,
         "hexahedron20": 19, "hexahedron27": 20}
VTK_KINDS = {1: 1, 3: 3, 21: 4, 5: 6, 9: 7, 22: 8, 23: 9, 28: 10, 10: 12, 24: 13, 14: 14, 13: 16,
             12: 18, 25: 19, 29: 20}

gmsh.initialize()
gmsh.option.setNumber("General.Terminal", 0)
gmsh.model.occ.addBox(0, 0, 0, 1, 1, 1)
gmsh.model.occ.synchronize()
gmsh.option.setNumber("Mesh.MeshSizeMax", 0.4)
gmsh.model.mesh.generate(3)
gmsh.write(f"{work}/g1.mesh")
gmsh.write(f"{work}/g1.vtk")
gmsh.model.mesh.setOrder(2)
gmsh.write(f"{work}/g2.mesh")
gmsh.write(f"{work}/g2.vtk")
gmsh.finalize()

m = meshio.read(f"{work}/g1.mesh")
meshio.write(f"{work}/m.mesh", m)
meshio.write(f"{work}/m.meshb", m)
meshio.write(f"{work}/m_ascii.vtk", m, binary=False)
meshio.write(f"{work}/m_binary.vtk", m, binary=True)

grid = vtk.vtkUnstructuredGridReader()
grid.SetFileName(f"{work}/g2.vtk")
grid.Update()
sphere = vtk.vtkSphereSource()
sphere.Update()
for name, writer, data in (("v", vtk.vtkUnstructuredGridWriter, grid.GetOutput()),
                           ("p", vtk.vtkPolyDataWriter, sphere.GetOutput())):
    for binary in (False, True):
        w = writer()
        w.SetInputData(data)
        w.SetFileName(f"{work}/{name}_{'binary' if binary else 'ascii'}.vtk")
        if binary:
            w.SetFileTypeToBinary()
        w.Write()


def ours(kind, name):
    out = subprocess.run([program, kind, f"{work}/{name}"], capture_output=True, text=True).stdout
    lines = [line.split() for line in out.splitlines()]
    status, nodes, _, _, total = lines[0]
    elements = {int(k): (int(c), int(s), int(r)) for k, c, s, r in lines[1:]}
    return int(status), int(nodes), float(total), elements


def by_meshio(name):
    mesh = meshio.read(f"{work}/{name}")
    refs = mesh.cell_data.get("medit:ref", [np.zeros(len(c.data)) for c in mesh.cells])
    elements = {}
    for block, r in zip(mesh.cells, refs):
        c, s, rs = elements.get(KINDS[block.type], (0, 0, 0))
        elements[KINDS[block.type]] = (c + len(block.data), s + int(block.data.sum()), rs + int(r.sum()))
    return len(mesh.points), float(mesh.points.sum()), elements


def by_vtk(name, polydata):
    reader = vtk.vtkPolyDataReader() if polydata else vtk.vtkUnstructuredGridReader()
    reader.SetFileName(f"{work}/{name}")
    reader.Update()
    data = reader.GetOutput()
    elements = {}
    ids = vtk.vtkIdList()
    for cell in range(data.GetNumberOfCells()):
        data.GetCellPoints(cell, ids)
        n, t = ids.GetNumberOfIds(), data.GetCellType(cell)
        kind = {3: 6, 4: 7}.get(n) if t == 7 else VTK_KINDS.get(t)
        c, s, _ = elements.get(kind, (0, 0, 0))
        elements[kind] = (c + 1, s + sum(ids.GetId(i) for i in range(n)), 0)
    total = sum(sum(data.GetPoint(p)) for p in range(data.GetNumberOfPoints()))
    return data.GetNumberOfPoints(), total, elements


failures = []
twin = by_vtk("g2.vtk", False)
twin[2].pop(1)
cases = [("medit", "g1.mesh", by_meshio("g1.mesh")), ("medit", "m.mesh", by_meshio("m.mesh")),
         ("medit", "m.meshb", by_meshio("m.meshb")),
         # meshio cannot read gmsh's second-order MEDIT: the VTK twin tells,
         # but for its corner points, which MEDIT does not list.
         ("medit", "g2.mesh", twin)]
cases += [("vtk", name, by_vtk(name, False)) for name in
          ("g1.vtk", "g2.vtk", "m_ascii.vtk", "m_binary.vtk", "v_ascii.vtk", "v_binary.vtk")]
cases += [("vtk", name, by_vtk(name, True)) for name in ("p_ascii.vtk", "p_binary.vtk")]
for kind, name, (nodes, total, elements) in cases:
    status, our_nodes, our_total, our_elements = ours(kind, name)
    if kind == "vtk" or name == "g2.mesh":  # no references to compare
        our_elements = {k: (c, s, 0) for k, (c, s, _) in our_elements.items()}
    ok = (status == 0 and our_nodes == nodes and abs(our_total - total) <= 1e-6 * max(1, abs(total))
          and our_elements == elements)
    print(f"{name}: {'ok' if ok else 'DIFFERS'}: nodes {our_nodes}, elements {our_elements}")
    if not ok:
        failures.append(f"{name}: status {status}; expected {nodes} nodes, sum {total}, {elements}; "
                        f"got {our_nodes}, {our_total}, {our_elements}")

if failures:
    print("FAILED:\n  " + "\n  ".join(failures))
    sys.exit(1)
