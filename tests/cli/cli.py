# The command-line tool as a user meets it: every command on files the build
# makes and on hand-made ones, outputs read back, every error path checked for
# its exit status, its message and the files it leaves (none).
#   cli.py GROUP WORK TOOL [MESH_REPORT | CORPUS REGRESSIONS]
# GROUP is samples (the example program's files), errors, editing, fuzz or
# interop (meshio; exit 77 where it is missing, a failure with
# QZ4_INTEROP_REQUIRED set).
import json
import math
import os
import pty
import resource
import shutil
import struct
import subprocess
import sys

group, work, tool = sys.argv[1], sys.argv[2], sys.argv[3]
shutil.rmtree(work, ignore_errors=True)
os.makedirs(work)
os.chdir(work)
failures = []


def check(what, got, expected):
    if got != expected:
        failures.append(f"{what}: got {got!r}, expected {expected!r}")


def run(*args, limit=None, stderr=subprocess.PIPE):
    pre = (lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit))) if limit else None
    r = subprocess.run([tool, *args], stdout=subprocess.PIPE, stderr=stderr, text=True, preexec_fn=pre)
    return r.returncode, r.stdout, r.stderr or ""


def info(path, *options):
    status, out, err = run("info", path, "--json", *options)
    check(f"info {path} {err}", status, 0)
    return json.loads(out) if status == 0 else {}


def summary(d):
    return {k: d.get(k) for k in ("nodes", "elements", "parts", "boundary", "non_manifold")}


def text(path, mode="r"):
    with open(path, mode, newline="" if mode == "r" else None) as f:
        return f.read()


def write(path, data):
    with open(path, "w", newline="") if isinstance(data, str) else open(path, "wb") as f:
        f.write(data)


def crlf_twin(path, twin):
    write(twin, text(path).replace("\n", "\r\n"))


def deck(path, nodes, cards):
    """A free-field NASTRAN deck: GRID cards from 0, then element cards."""
    lines = ["BEGIN BULK"] + [f"GRID,{i},{x:.9f},{y:.9f},{z:.9f}" for i, (x, y, z) in enumerate(nodes)]
    lines += [f"{c[0]},{e},{c[2] if len(c) > 2 else 1},{','.join(map(str, c[1]))}" for e, c in enumerate(cards)]
    write(path, "\n".join(lines + ["ENDDATA", ""]))


def text_stl(path, triangles):
    body = "".join("facet normal 0 0 0\nouter loop\n" + "".join(f"vertex {x} {y} {z}\n" for x, y, z in t)
                   + "endloop\nendfacet\n" for t in triangles)
    write(path, f"solid t\n{body}endsolid t\n")


def hexa_grid(path, n):
    idx = lambda i, j, k: i + (n + 1) * (j + (n + 1) * k)
    nodes = [(i / n, j / n, k / n) for k in range(n + 1) for j in range(n + 1) for i in range(n + 1)]
    cards = [("CHEXA", [idx(i, j, k), idx(i + 1, j, k), idx(i + 1, j + 1, k), idx(i, j + 1, k),
                        idx(i, j, k + 1), idx(i + 1, j, k + 1), idx(i + 1, j + 1, k + 1), idx(i, j + 1, k + 1)])
             for k in range(n) for j in range(n) for i in range(n)]
    deck(path, nodes, cards)


def torus(path, m, n):
    """A binary STL torus of m x n quadrangles cut in two."""
    p = [((3 + math.cos(2 * math.pi * j / n)) * math.cos(2 * math.pi * i / m),
          (3 + math.cos(2 * math.pi * j / n)) * math.sin(2 * math.pi * i / m), math.sin(2 * math.pi * j / n))
         for i in range(m) for j in range(n)]
    records = []
    for i in range(m):
        for j in range(n):
            a, b, c, d = i * n + j, i * n + (j + 1) % n, (i + 1) % m * n + j, (i + 1) % m * n + (j + 1) % n
            for t in ((a, c, d), (a, d, b)):
                records.append(struct.pack("<12fH", 0, 0, 0, *p[t[0]], *p[t[1]], *p[t[2]], 0))
    write(path, bytes(80) + struct.pack("<I", len(records)) + b"".join(records))


def signed_volume(stl):
    """Volume inside a text STL surface: positive when its normals face out."""
    v = [[float(w) for w in line.split()[1:]] for line in text(stl).splitlines() if line.split()[:1] == ["vertex"]]
    return sum(a[0] * (b[1] * c[2] - b[2] * c[1]) - a[1] * (b[0] * c[2] - b[2] * c[0]) + a[2] * (b[0] * c[1] - b[1] * c[0])
               for a, b, c in zip(v[0::3], v[1::3], v[2::3])) / 6


TETRA = [(0, 0, 0), (1, 0, 0), (0, 1, 0), (0, 0, 1)]
TORUS = {"nodes": 768, "elements": {"tria3": 1534}, "parts": 1, "boundary": 4, "non_manifold": 0}

if group == "samples":
    # The example's files: a binary STL torus with a hole, and the same mesh as
    # MEDIT and VTK. Each reads as the torus, and so does each format written.
    subprocess.run([sys.argv[4]], check=True, stdout=subprocess.DEVNULL)
    for name in ("example_torus.stl", "example.mesh", "example.vtk"):
        d = info(name)
        check(f"{name}", summary(d), TORUS)
        check(f"{name} box", [[round(x, 4) for x in c] for c in d.get("bounding_box", [])],
              [[-4, -4, -1], [4, 4, 1]])
    for out, options in (("t.vtk", []), ("t.mesh", []), ("t.nas", []), ("t.neu", []), ("t_b.stl", []),
                         ("t_t.stl", ["--ascii"])):
        check(f"convert to {out}", run("convert", "example_torus.stl", out, *options)[0], 0)
        check(f"{out} read back", summary(info(out)), TORUS)
    check("text STL", text("t_t.stl")[:6], "solid ")
    # A binary file whose header begins with "solid" is still binary, and a
    # text file with CR LF line ends reads as its LF twin.
    b = bytearray(text("example_torus.stl", "rb"))
    b[:16] = b"solid from a CAD"
    write("solid_header.stl", bytes(b))
    check("binary STL with solid header", summary(info("solid_header.stl")), TORUS)
    crlf_twin("t_t.stl", "t_crlf.stl")
    check("CR LF text STL", info("t_crlf.stl")["quality"], info("t_t.stl")["quality"])
    # Decks saved on Windows read as their LF twins.
    for name in ("t.nas", "t.neu"):
        crlf_twin(name, "crlf_" + name)
        check(f"CR LF {name}", {**info("crlf_" + name), "file": name}, info(name))

    # Grading the example's size field lowers its H-shock.
    status, out, err = run("grade", "example.mesh", "example.sol", "graded.sol", "--gradation", "0.2")
    shock = [float(w) for w in out.split("largest")[-1].split()[:3:2]] if status == 0 else [0, 0]
    check(f"H-shock lowered {err}", shock[1] < shock[0], True)

    # Progress goes to stderr on a terminal only, and --quiet silences it.
    for options, expected in (([], ["read", "write"]), (["--quiet"], [])):
        controller, terminal = pty.openpty()
        run("convert", "example_torus.stl", "p.vtk", *options, stderr=terminal)
        os.close(terminal)
        try:
            lines = os.read(controller, 65536).decode().splitlines()
        except OSError:  # nothing was written
            lines = []
        check(f"progress {options}", [line.split()[0] for line in lines], expected)
    check("no progress on a pipe", run("convert", "example_torus.stl", "p.vtk")[2], "")

elif group == "errors":
    stl = "example_torus.stl"
    torus(stl, 48, 16)
    run("convert", stl, "example.mesh")
    run("convert", stl, "example.vtk")
    write("example.sol", "3 1 768 2\n" + "1 " * 768 + "\n")
    write("cut_binary.stl", text(stl, "rb")[:1000])
    write("short.stl", text(stl, "rb")[:50])
    text_stl("whole.stl", [[(0, 0, 0), (1, 0, 0), (0, 1, 0)]])
    write("cut_text.stl", text("whole.stl")[:-20])
    write("cut.mesh", text("example.mesh")[:20000])
    write("cut.vtk", text("example.vtk")[:20000])
    with open("huge.stl", "wb") as f:  # sparse: as large as 60 million triangles
        f.write(bytes(80) + struct.pack("<I", 60_000_000))
        f.truncate(84 + 50 * 60_000_000)
    hexa_grid("hexa.nas", 1)
    deck("tetra.nas", TETRA, [("CTETRA", [0, 1, 2, 3])])
    deck("penta.nas", TETRA + [(1, 1, 1), (0, 1, 1)], [("CPENTA", [0, 1, 2, 3, 4, 5])])
    deck("dangling.nas", TETRA, [("CTRIA3", [0, 1, 2]), ("CTRIA3", [0, 1, 9])])
    write("plane.mesh", "MeshVersionFormatted 1\nDimension 2\nVertices\n3\n0 0 0\n1 0 0\n0 1 0\n"
          "Triangles\n1\n1 2 3 0\nEnd\n")
    write("nobulk.nas", text("tetra.nas").replace("BEGIN BULK", "$"))
    write("keep.stl", "keep")
    # One element of each kind the MEDIT reader knows, for the kinds each writer refuses.
    sections = (("Edges", 2), ("Triangles", 3), ("Quadrilaterals", 4), ("Tetrahedra", 4), ("Pyramids", 5),
                ("Prisms", 6), ("Hexahedra", 8), ("EdgesP2", 3), ("TrianglesP2", 6), ("QuadrilateralsQ2", 9),
                ("TetrahedraP2", 10), ("PrismsP2", 18), ("HexahedraQ2", 27))
    write("all.mesh", "MeshVersionFormatted 1\nDimension 3\nVertices\n27\n"
          + "".join(f"{i} {i * i} {i ** 3} 0\n" for i in range(27))
          + "".join(f"{k}\n1\n{' '.join(str(i + 1) for i in range(n))} 0\n" for k, n in sections) + "End\n")
    os.mkdir("nowhere_file_parent")
    rows = [
        ([], 1, "A subcommand is required"),
        (["info"], 1, "IN is required"),
        (["resize", stl], 1, "A subcommand is required"),
        (["info", "missing.stl"], 2, "cannot read missing.stl (STL): No such file or directory"),
        (["info", "mesh.xyz"], 1, "cannot tell the format of mesh.xyz from its extension: give --from"),
        (["convert", stl, "out.xyz"], 1, "cannot tell the format of out.xyz from its extension: give --to"),
        (["convert", stl, "out.vtk", "--to", "ply"], 1, 'unknown format "ply"'),
        (["info", "cut_binary.stl"], 2, "neither a whole binary STL (its header announces 1536 triangles"),
        (["info", "short.stl"], 2, "(binary STL): not a binary STL: 84-byte header missing"),
        (["info", "cut_text.stl"], 2, 'no "endsolid" line at its end: cut short'),
        (["info", "huge.stl"], 2, "so at most 59652323 triangles fit"),
        (["info", "cut.mesh"], 2, "cannot read cut.mesh (MEDIT): cut short or corrupt"),
        (["info", "cut.vtk"], 2, "cannot read cut.vtk (legacy VTK): cut short or corrupt"),
        (["info", "penta.nas"], 2, "element 0 (pyra5) comes without its nodes: this reader takes no wedge card"),
        (["info", "dangling.nas"], 2, "element 1 (tria3) names node 9, and the file has nodes 0 to 3 only"),
        (["info", "nobulk.nas"], 2, 'no "BEGIN BULK" line'),
        (["convert", "hexa.nas", "out.stl"], 2, "cannot write out.stl (STL): it cannot hold hexa8 (it holds tria3, quad4)"),
        (["convert", "tetra.nas", "out.nas"], 2, "it cannot hold tetra4 (it holds edge2, tria3, quad4, tria6, quad8, hexa8)"),
        (["convert", "hexa.nas", "keep.stl"], 2, "cannot hold hexa8"),
        (["convert", "all.mesh", "a.obj"], 2, "(Wavefront OBJ): it cannot hold edge2, edge3, tria6, quad9, tetra4, "
         "tetra10, pyra5, penta6, penta18, hexa8, hexa27 (it holds tria3, quad4); --boundary writes"),
        (["convert", "all.mesh", "a.mesh"], 2, "it cannot hold edge3, tria6, quad9, tetra10, penta18, hexa27 ("),
        (["convert", "all.mesh", "a.vtk"], 2, "it cannot hold edge3, tria6, quad9, tetra10, penta18, hexa27 ("),
        (["convert", "all.mesh", "a.case"], 2, "it cannot hold tria6, quad9, pyra5, penta18, hexa27 ("),
        (["convert", "all.mesh", "a.nas"], 2, "it cannot hold edge3, quad9, tetra4, tetra10, pyra5, penta6, penta18, hexa27 ("),
        (["convert", "all.mesh", "a.neu"], 2, "it cannot hold quad9, pyra5, penta18, hexa27 ("),
        (["convert", stl, stl], 1, f"{stl} is the input file {stl}"),
        (["convert", stl, "./" + stl], 1, "is the input file"),
        (["convert", stl, "nowhere/out.vtk"], 2, "No such file or directory in folder nowhere"),
        (["convert", stl, stl + "/out.vtk"], 2, "Not a directory"),
        (["grade", "hexa.nas", "example.sol", "g.sol"], 2, "holds 768 values and the mesh has 8 nodes"),
        (["grade", "example.mesh", "example.sol", "g.vtk"], 1, "OUT must be a MEDIT solution"),
        (["transform", "hexa.nas", "t.nas", "--translate=1"], 1, "--translate takes x,y or x,y,z"),
        (["transform", "hexa.nas", "t.nas", "--mirror=0,0,0"], 1, "--mirror: the normal must not be 0"),
        (["quality", stl, "--out", "q.stl"], 1, "--out takes a .vtk file"),
        (["convert", stl, "out.meshb"], 1, "the library writes MEDIT text: give out.mesh"),
        (["transform", "plane.mesh", "t.mesh", "--rotate=90,1,0,0"], 1, "a plane mesh turns about z only"),
        (["transform", "plane.mesh", "t.mesh", "--translate=1,1,1"], 1, "--translate: the mesh is plane, so a z must be 0"),
    ]
    if os.geteuid() != 0:  # permissions do not hold root back
        os.chmod("nowhere_file_parent", 0o555)
        rows.append((["convert", stl, "nowhere_file_parent/out.vtk"], 2, "Permission denied"))
    # Memory: the smallest address space the tool starts in, then a read that
    # needs more. Sanitizers reserve far more, and skip this row.
    limit = next((m << 20 for m in range(8, 64, 2) if run("--version", limit=m << 20)[0] == 0), None)
    if limit:
        torus("big.stl", 200, 200)
        rows.append((["convert", "big.stl", "mem.vtk"], 2, "the machine's memory ran out"))
    os.link(stl, "link.stl")
    rows.append((["convert", stl, "link.stl"], 1, "link.stl is the input file"))
    before = sorted(os.listdir("."))
    for args, status, message in rows:
        got, out, err = run(*args, limit=limit + (2 << 20) if args[-1:] == ["mem.vtk"] else None)
        check(f"{args}: status", got, status)
        check(f"{args}: message {err!r}", message in err, True)
        check(f"{args}: one line", len(err.splitlines()) <= 2, True)
        check(f"{args}: files left", sorted(os.listdir(".")), before)
    check("kept OUT", text("keep.stl"), "keep")
    # Interrupted while it waits for its input (a pipe nobody writes), the
    # tool leaves no temporary file behind.
    os.mkfifo("pipe.stl")
    p = subprocess.Popen([tool, "convert", "pipe.stl", "late.vtk"], stderr=subprocess.DEVNULL)
    while p.poll() is None and not any(".late.vtk." in name for name in os.listdir(".")):
        pass
    p.terminate()
    p.wait()
    check("temporary file of an interrupted run", [n for n in os.listdir(".") if "late" in n], [])
    check("--help", run("convert", "--help")[0], 0)
    check("--version", run("--version")[1], "tessellix 4.2\n")

elif group == "editing":
    hexa_grid("hexa.nas", 2)
    check("hexa grid", summary(info("hexa.nas")),
          {"nodes": 27, "elements": {"hexa8": 8}, "parts": 1, "boundary": 24, "non_manifold": 0})
    crlf_twin("hexa.nas", "crlf.nas")
    check("CR LF deck", {**info("crlf.nas"), "file": "hexa.nas"}, info("hexa.nas"))
    # Transforms, in the order given, by the bounding box they leave; a mirror
    # keeps the hexahedra right side out (quality 1).
    for options, box in ((["--translate=1,2,3"], [[1, 2, 3], [2, 3, 4]]),
                         (["--rotate=90"], [[-1, 0, 0], [0, 1, 1]]),
                         (["--translate=1,0,0", "--rotate=90"], [[-1, 1, 0], [0, 2, 1]]),
                         (["--rotate=90", "--translate=1,0,0"], [[0, 0, 0], [1, 1, 1]]),
                         (["--rotate=90,1,0,0,0,0,1"], [[0, 0, 1], [1, 1, 2]]),
                         (["--scale=2,1,1,1"], [[-1, -1, -1], [1, 1, 1]]),
                         (["--scale=-1"], [[-1, -1, -1], [0, 0, 0]]),
                         (["--mirror=1,0,0"], [[-1, 0, 0], [0, 1, 1]]),
                         (["--mirror=0,1,1,0,0,1"], [[0, 0, 0], [1, 1, 1]])):
        check(f"transform {options}", run("transform", "hexa.nas", "moved.neu", *options)[0], 0)
        d = info("moved.neu")
        check(f"{options} box", [[round(x, 5) + 0 for x in c] for c in d.get("bounding_box", [])], box)
        check(f"{options} quality", round(d.get("quality", {}).get("min", 0), 9), 1)

    # The boundary surface of solids faces outwards, quadrangles split in two.
    deck("tetra.nas", TETRA, [("CTETRA", [0, 1, 2, 3])])
    for name, triangles, volume in (("hexa.nas", 48, 1), ("tetra.nas", 4, 1 / 6)):
        check(f"{name} --boundary", run("convert", name, "skin.stl", "--boundary", "--ascii")[0], 0)
        check(f"{name} boundary", summary(info("skin.stl"))["elements"], {"tria3": triangles})
        check(f"{name} outwards", round(signed_volume("skin.stl"), 9), round(volume, 9))

    # No triangle: nothing to measure, no box.
    text_stl("empty.stl", [])
    d = info("empty.stl")
    check("empty STL", (d["nodes"], d["elements"], d["quality"], d["bounding_box"]), (0, {}, None, None))
    # An OBJ face on a last line without its newline is read, CR LF or not.
    obj = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0\nf 1 2 3 4\nf 2 5 3"
    write("open.obj", obj)
    write("crlf.obj", obj.replace("\n", "\r\n"))
    check("OBJ last face", (summary(info("open.obj")), summary(info("crlf.obj"))),
          ({"nodes": 5, "elements": {"tria3": 1, "quad4": 1}, "parts": 1, "boundary": 5, "non_manifold": 0},) * 2)

    # Three triangles on one edge: that edge is non-manifold, the others open.
    text_stl("fan.stl", [[(0, 0, 0), (1, 0, 0), p] for p in ((0, 1, 0), (0, -1, 0), (0, 0, 1))])
    check("non-manifold", summary(info("fan.stl")),
          {"nodes": 5, "elements": {"tria3": 3}, "parts": 3, "boundary": 6, "non_manifold": 1})

    # Clean: node 4 and 5 sit on 0 and 2, node 6 is unused, node 7 lies 1e-7
    # from node 1 and collapses the last triangle when the tolerance takes it.
    nodes = [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0), (0, 0, 0), (1, 1, 0), (5, 5, 5), (1.0000001, 0, 0)]
    deck("dirty.nas", nodes, [("CTRIA3", [0, 1, 2], 7), ("CTRIA3", [1, 7, 2], 8), ("CTRIA3", [4, 5, 3], 9)])
    for options, said, left in (
            ([], "merged 2 nodes (exactly coincident), dropped 0 degenerate elements, removed 3 unused nodes",
             {"nodes": 5, "elements": {"tria3": 3}, "parts": 1, "boundary": 5, "non_manifold": 0}),
            (["--tolerance", "1e-3"], "merged 3 nodes (tolerance 0.001), dropped 1 degenerate elements, "
             "removed 4 unused nodes", {"nodes": 4, "elements": {"tria3": 2}, "parts": 1, "boundary": 4,
                                        "non_manifold": 0})):
        status, out, err = run("clean", "dirty.nas", "clean.nas", *options)
        check(f"clean {options} {err}", out.split(":")[0], said)
        check(f"clean {options} result", summary(info("clean.nas")), left)
    # The properties follow their elements past the one dropped.
    check("properties", [line.split(",")[2] for line in text("clean.nas").splitlines() if line[:6] == "CTRIA3"],
          ["7", "9"])

    # A size field that jumps across x = 0 on a torus, three values invalid:
    # they take the mean edge length at their node, the field is bounded, and
    # grading only lowers sizes. Then the valid sizes as tensors.
    torus("torus.stl", 48, 16)
    run("convert", "torus.stl", "torus.mesh")
    os.mkdir("sub")  # an EnSight case names its geometry beside it
    check("EnSight", run("convert", "torus.stl", "sub/t.case")[0], 0)
    check("EnSight case", text("sub/t.case"), "FORMAT\ntype: ensight\n\nGEOMETRY\nmodel: t.geo\n")
    check("EnSight geometry", text("sub/t.geo").splitlines()[0], "EnSight Mesh File.")
    xs = [float(x) for x in text("torus.mesh").split("Vertices")[1].split()[1:4 * 768:4]]
    sizes = [0.05 if x < 0 else 1.0 for x in xs]
    write("sizes.sol", "3 1 768 2\n0 -1 nan " + " ".join(map(str, sizes[3:])) + "\n")
    status, out, err = run("grade", "torus.mesh", "sizes.sol", "graded.sol", "--hmin", "0.1", "--hmax", "0.5")
    check(f"grade repairs {err}", out.split("\n")[0].split(", ")[-1], "3 invalid replaced by the mean edge length at their node")
    shock = [float(w) for w in out.split("largest")[-1].split()[:3:2]] if status == 0 else [0, 0]
    check("H-shock lowered", shock[1] < shock[0], True)
    graded = [float(h) for h in text("graded.sol").split()[4:]]
    check("graded in bounds", (len(graded), 0 < min(graded), max(graded) <= 0.5), (768, True, True))
    write("tensors.sol", "3 6 768 2\n" + "".join(f"{h ** -2} 0 {h ** -2} 0 0 {h ** -2}\n" for h in sizes))
    check("grade tensors", run("grade", "torus.mesh", "tensors.sol", "graded_t.sol")[0], 0)
    check("graded tensors", text("graded_t.sol").split()[:4], ["3", "6", "768", "2"])

    # MEDIT references become deck properties, runs of kinds come back as runs.
    write("refs.mesh", "MeshVersionFormatted 1\nDimension 3\nVertices\n6\n" + "".join(
        f"{x} {y} 0 0\n" for x, y in ((0, 0), (1, 0), (1, 1), (0, 1), (2, 0), (2, 1))) +
        "Triangles\n2\n2 5 6 5\n2 6 3 6\nQuadrilaterals\n1\n1 2 3 4 7\nEdges\n1\n1 4 8\nEnd\n")
    check("lines beside faces", summary(info("refs.mesh")),
          {"nodes": 6, "elements": {"edge2": 1, "tria3": 2, "quad4": 1}, "parts": 1, "boundary": 6, "non_manifold": 0})
    run("convert", "refs.mesh", "refs.nas")
    check("properties", [line.split(",")[2] for line in text("refs.nas").splitlines() if line[:1] == "C"],
          ["5", "6", "7", "8"])
    check("runs", info("refs.nas")["elements"], {"tria3": 2, "quad4": 1, "edge2": 1})

    # Quality: the tetrahedron of card order 0 2 1 3 is inverted.
    deck("pair.nas", TETRA, [("CTETRA", [0, 1, 2, 3]), ("CTETRA", [0, 2, 1, 3])])
    status, out, err = run("quality", "pair.nas", "--out", "q.vtk")
    check("quality", status, 0)
    worst = out.split("order):\n")[-1].split()
    check("worst elements", (worst[0], worst[1], float(worst[2]) < 0, worst[3]), ("1", "tetra4", True, "0"))
    check("inverted", "below 0.00 (inverted) 1" in out, True)
    cell_data = text("q.vtk").split("CELL_DATA")[-1].split()
    check("cell data", (cell_data[0], len(cell_data[7:])), ("2", 2))
    check("quality .sol", run("quality", "pair.nas", "--out", "q.sol")[0], 0)
    values = text("q.sol").split()
    check("worst quality at nodes", (values[:4], values[4:] == [values[4]] * 4), (["3", "1", "4", "2"], True))

elif group == "fuzz":
    # Every seed and every input that once broke a reader: read, never a crash.
    corpus, regressions = sys.argv[4], sys.argv[5]
    formats = {"stl": "stl", "obj": "obj", "nastran": "nastran", "femap": "femap", "medit": "mesh", "vtk": "vtk"}
    deck("tetra.nas", TETRA, [("CTETRA", [0, 1, 2, 3])])  # solutions are read by grade, over it
    count = 0
    for folder in (corpus, regressions):
        for reader in sorted(os.listdir(folder)) if os.path.isdir(folder) else []:
            if reader not in formats and reader != "solution" or not os.path.isdir(os.path.join(folder, reader)):
                continue
            for name in sorted(os.listdir(os.path.join(folder, reader))):
                path = os.path.join(folder, reader, name)
                if reader == "solution":
                    shutil.copy(path, "seed.sol")
                    status = run("grade", "tetra.nas", "seed.sol", "graded.sol")[0]
                else:
                    status = run("info", path, "--from", formats[reader])[0]
                check(f"{reader}/{name}", status in (0, 2), True)
                count += 1
    check("inputs", count > 0, True)
    print(f"{count} inputs read")

elif group == "interop":
    try:
        import meshio
        import numpy
    except ImportError:
        print("SKIPPED: meshio missing; install the Debian package python3-meshio")
        sys.exit(1 if os.environ.get("QZ4_INTEROP_REQUIRED") else 77)
    # Files meshio writes, read by the tool ...
    points = numpy.array([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1]], float)
    cells = [("triangle", numpy.array([[0, 1, 2], [0, 2, 3]])), ("tetra", numpy.array([[0, 1, 3, 4]]))]
    surface = meshio.Mesh(points, cells[:1])
    for name, mesh, options in (("m.stl", surface, {"binary": True}), ("m_t.stl", surface, {"binary": False}),
                                ("m.obj", surface, {}), ("m.mesh", meshio.Mesh(points, cells), {}),
                                ("m.vtk", meshio.Mesh(points, cells), {"binary": False}),
                                ("m_b.vtk", meshio.Mesh(points, cells), {"binary": True})):
        meshio.write(name, mesh, **options)
        d = info(name)
        check(f"meshio {name}", d.get("elements"), {c.type.replace("triangle", "tria3").replace("tetra", "tetra4"):
                                                     len(c.data) for c in mesh.cells})
    # ... and files the tool writes, read by meshio.
    torus("example_torus.stl", 48, 16)
    for out, options in (("o.vtk", []), ("o.mesh", []), ("o.stl", []), ("o_t.stl", ["--ascii"])):
        run("convert", "example_torus.stl", out, *options)
        m = meshio.read(out)
        check(f"meshio reads {out}", sum(len(c.data) for c in m.cells), 1536)
    # A deck's nodes and hexahedra come out as they went in.
    hexa_grid("hexa.nas", 2)
    grid = [line.split(",")[2:] for line in text("hexa.nas").splitlines() if line[:5] in ("GRID,", "CHEXA")]
    for out in ("hexa.mesh", "hexa.vtk"):
        run("convert", "hexa.nas", out)
        m = meshio.read(out)
        check(f"meshio reads {out}: nodes", m.points.tolist(), [[float(x) for x in g] for g in grid[:27]])
        check(f"meshio reads {out}: hexahedra", m.cells_dict["hexahedron"].tolist(),
              [[int(n) for n in g[1:]] for g in grid[27:]])
    run("convert", "example_torus.stl", "o.obj")
    check("meshio reads the OBJ nodes", len(meshio.read("o.obj").points), 768)
    run("quality", "example_torus.stl", "--out", "q.vtk")
    check("meshio reads the quality", len(meshio.read("q.vtk").cell_data["quality"][0]), 1536)

if failures:
    print("FAILED:\n  " + "\n  ".join(failures))
    sys.exit(1)
print("passed")
