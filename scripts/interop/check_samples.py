"""Opens the sample files with programs that are not ours and compares counts and coordinates.

usage: check_samples.py LIST     where LIST holds the lines that write_samples printed
Programs that are not installed are reported and left out. What the formats' own rules keep others from reading is
in EXCEPTIONS, and must fail as it says.
"""
import contextlib
import io
import os
import subprocess
import sys
import tempfile

# Corner cell of each element type: VTK code, gmsh code, meshio name, corners.
LINE, TRIANGLE, QUAD = (3, 1, "line", 2), (5, 2, "triangle", 3), (9, 3, "quad", 4)
TETRA, PYRAMID, WEDGE = (10, 4, "tetra", 4), (14, 7, "pyramid", 5), (13, 6, "wedge", 6)
HEXA = (12, 5, "hexahedron", 8)
CORNER_CELL = {3: LINE, 4: LINE, 6: TRIANGLE, 7: QUAD, 8: TRIANGLE, 9: QUAD, 10: QUAD, 12: TETRA, 13: TETRA,
               14: PYRAMID, 15: PYRAMID, 16: WEDGE, 17: WEDGE, 18: HEXA, 19: HEXA, 20: HEXA}
QUADRATIC = {4, 8, 9, 10, 13, 15, 17, 19, 20}
NASTRAN_CARRIES = {3, 6, 7, 8, 9, 12, 18}

# (program, format, element type or None for all): why it cannot be read there.
EXCEPTIONS = {
    ("vtk", "obj", None): "empty texture and normal indices (1//) are not understood",
    ("vtk", "ensight", 8): "6-node triangles are listed twice under a count of once",
    ("meshio", "nastran", None): "large-field grid points leave out the coordinate system",
    ("meshio", "vtk", "quadratic"): "poly-vertex cells are not known",
}


def exception(program, form, kind):
    for key in ((program, form, None), (program, form, kind),
                (program, form, "quadratic" if kind in QUADRATIC else "linear")):
        if key in EXCEPTIONS:
            return True
    return False


def expected_points(n):
    return [(i * 0.5, i * i * 0.25, (i % 3) * 0.125) for i in range(n)]


def by_vtk(form, path, kind, nodes, elements):
    import vtk
    vtk.vtkObject.GlobalWarningDisplayOff()
    reader = {"vtk": vtk.vtkUnstructuredGridReader, "obj": vtk.vtkOBJReader, "stl": vtk.vtkSTLReader,
              "ensight": vtk.vtkGenericEnSightReader}.get(form)
    if reader is None:
        return None
    reader = reader()
    if form == "ensight":
        case = os.path.splitext(path)[0] + ".case"
        with open(case, "w") as file:
            file.write("FORMAT\ntype: ensight\nGEOMETRY\nmodel: %s\n" % os.path.basename(path))
        reader.SetCaseFileName(case)
    else:
        reader.SetFileName(path)
    reader.Update()
    grid = reader.GetOutput()
    if form == "ensight":
        if kind in (14, 15):
            return grid.GetNumberOfBlocks() == 0
        grid = grid.GetBlock(0)
    points = [grid.GetPoint(i) for i in range(grid.GetNumberOfPoints())]
    cells = [grid.GetCellType(k) for k in range(grid.GetNumberOfCells())]
    wanted = [CORNER_CELL[kind][0]] * elements
    if form == "vtk" and kind in QUADRATIC:
        wanted = [CORNER_CELL[kind][0], 2] * elements
    return cells == wanted and same_points(points, nodes, form)


def by_meshio(form, path, kind, nodes, elements):
    import meshio
    if form not in ("medit", "vtk", "obj", "stl", "nastran"):
        return None
    with contextlib.redirect_stdout(io.StringIO()), contextlib.redirect_stderr(io.StringIO()):
        try:
            mesh = meshio.read(path)
        except (Exception, SystemExit):
            return False
    cell = CORNER_CELL[kind]
    if form == "medit" and cell in (PYRAMID, WEDGE):
        cell = HEXA
    cells = [(block.type, len(block.data)) for block in mesh.cells]
    return cells == [(cell[2], elements)] and same_points([tuple(p) for p in mesh.points], nodes, form)


def by_gmsh(form, path, kind, nodes, elements):
    if form not in ("medit", "vtk", "stl", "nastran"):
        return None
    with tempfile.TemporaryDirectory() as directory:
        out = os.path.join(directory, "out.msh")
        subprocess.run(["gmsh", "-v", "1", "-save", "-save_all", "-format", "msh22", "-o", out, path], check=False,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=60)
        with open(out) as file:
            lines = file.read().split("\n")
    count = int(lines[lines.index("$Elements") + 1]) if "$Elements" in lines else 0
    if form == "nastran" and kind not in NASTRAN_CARRIES:
        return count == 0
    return count == elements


def same_points(points, nodes, form):
    wanted = expected_points(nodes)
    if form == "stl":  # readers merge corners in an order of their own
        points, wanted = sorted(points), sorted(wanted)
    return len(points) == len(wanted) and all(
        abs(a - b) < 1e-6 for p, q in zip(points, wanted) for a, b in zip(p, q))


def main():
    programs = {"vtk": by_vtk, "meshio": by_meshio, "gmsh": by_gmsh}
    for name in ("vtk", "meshio"):
        try:
            __import__(name)
        except ImportError:
            print("skipped: the Python module %s is not installed" % name)
            del programs[name]
    try:
        subprocess.run(["gmsh", "--version"], check=False, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    except OSError:
        print("skipped: gmsh is not installed")
        del programs["gmsh"]

    opened = failed = excepted = 0
    with open(sys.argv[1]) as samples:
        for line in samples:
            form, path, kind, nodes, elements = line.split()
            kind = int(kind)
            for name, opens in programs.items():
                if (name, form, kind) == ("vtk", "ensight", 8):
                    excepted += 1  # its reader does not come back from these
                    continue
                result = opens(form, path, kind, int(nodes), int(elements))
                if result is None:
                    continue
                if exception(name, form, kind):
                    excepted += 1
                    if result:
                        print("unexpected: %s reads %s" % (name, os.path.basename(path)))
                elif result:
                    opened += 1
                else:
                    failed += 1
                    print("FAILED: %s does not read %s" % (name, os.path.basename(path)))
    print("%d opened, %d failed, %d known exceptions" % (opened, failed, excepted))
    sys.exit(1 if failed else 0)


main()
