"""Runs qvmesh as a user does: qvmesh_test.py PROGRAM DATA_FOLDER TEST..."""

import contextlib
import json
import math
import os
import pty
import random
import re
import resource
import signal
import stat
import struct
import subprocess
import sys
import tempfile
import time
from pathlib import Path

PROGRAM, DATA = sys.argv[1], Path(sys.argv[2])

CUBE_CORNERS = [(x, y, z) for z in (0, 1) for y in (0, 1) for x in (0, 1)]
CUBE_FACES = [(0, 2, 3), (0, 3, 1), (4, 5, 7), (4, 7, 6), (0, 1, 5), (0, 5, 4),
              (2, 6, 7), (2, 7, 3), (0, 4, 6), (0, 6, 2), (1, 3, 7), (1, 7, 5)]


def run(*args, **options):
    options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "timeout": 120} | options
    return subprocess.run([PROGRAM, *map(str, args)], **options)


def check(condition, *context):
    if not condition:
        raise AssertionError(" ".join(map(str, context)))


def same(got, wanted, *context):
    check(got == wanted, *context, "gives", got, "instead of", wanted)


def check_close(got, wanted, tolerance, *context):
    check(abs(got - wanted) <= tolerance * wanted, *context, "gives", got, "instead of", wanted)


# What the command finds; it must say nothing else.
def facts(*args):
    done = run(*args, "--json")
    same((done.returncode, done.stderr), (0, b""), args)
    return json.loads(done.stdout)


# One clear line, exit code 2, and nothing on standard output.
def check_refused(pattern, *args):
    done = run(*args)
    lines = done.stderr.decode(errors="replace").splitlines()
    same((done.returncode, done.stdout, len(lines)), (2, b"", 1), args, lines)
    check(re.search(pattern, lines[0]), args, "says", lines[0], "instead of", pattern)


def mesh_file(path, vertices, triangles):
    path.write_text("\n".join([f"{len(vertices)} {len(triangles)}"] +
                              ["%.9g %.9g %.9g" % tuple(v) for v in vertices] +
                              ["3 %d %d %d" % tuple(t) for t in triangles]) + "\n")
    return path


def cube_file(path, size=1, corner=0):
    return mesh_file(path, [[size * x + corner for x in p] for p in CUBE_CORNERS], CUBE_FACES)


def sheet(path, n, place, left_out=()):
    """n x n squares, but for some, over the places of their corners."""
    quads = [(v, v + 1, v + n + 1, v + n + 2) for v in range(n * (n + 1))
             if (v + 1) % (n + 1) and divmod(v, n + 1) not in left_out]
    return mesh_file(path, [place(v // (n + 1) / n, v % (n + 1) / n) for v in range((n + 1) ** 2)],
                     [t for a, b, c, d in quads for t in ((a, c, b), (b, c, d))])


# Places of a sphere for the corners of a sheet.
def ball(size):
    return lambda i, j: (size * math.sin(math.pi * i) * math.cos(2 * math.pi * j),
                         size * math.sin(math.pi * i) * math.sin(2 * math.pi * j),
                         size * math.cos(math.pi * i))


def read_mesh(path):
    numbers = path.read_text().split()
    count = int(numbers[0])
    vertices = [tuple(map(float, numbers[i:i + 3])) for i in range(2, 2 + 3 * count, 3)]
    triangles = [tuple(map(int, numbers[i + 1:i + 4]))
                 for i in range(2 + 3 * count, len(numbers), 4)]
    return vertices, triangles


def convert(source, target):
    same(run("convert", source, "-o", target).returncode, 0, source, target)
    return target


# Floats of every size, in an order that no reader would choose by itself, some of them unused.
def awkward_mesh(path):
    rng = random.Random(7)
    bits = [rng.getrandbits(31) % 0x7f000000 | rng.getrandbits(1) << 31 for _ in range(3 * 997)]
    bits[:3] = [1 << 31, 1, 0x7f7fffff]  # -0, the least and the greatest float
    floats = struct.unpack(f"{len(bits)}f", struct.pack(f"{len(bits)}I", *bits))
    return mesh_file(path, list(zip(*[iter(floats)] * 3)),
                     [[rng.randrange(997) for _ in range(3)] for _ in range(1000)])


# Takes most of a second to read.
def large_off(folder):
    mesh = sheet(folder / "large.mesh", 500, lambda i, j: (i, j, i * j % 0.01))
    return convert(mesh, folder / "large.off")


# Counts made by independent code: as stored, then after the weld. What is measured is that of the
# triangles, of which one has no area.
def test_facts(folder):
    closed = {"components": 1, "boundaryLoops": [], "closed": True, "manifold": True}
    table = [
        ("elephant_soup.stl", 266784, 44460, 88928, closed | {"genus": 3}),
        ("pig_soup.stl", 50544, 8642, 16848,
         {"boundaryEdges": 1296, "pinchedVertices": 421, "manifold": False}),
        ("masks_holes.mesh", 4291, 4291, 8288,
         {"boundaryLoops": [136, 36, 32, 28, 28, 28, 16], "oriented": True}),
        ("boeing.mesh", 2741, 1264, 2564,
         closed | {"eulerCharacteristic": 2 - 2 * 10, "inconsistentEdges": 978, "oriented": False}),
        ("spider.obj", 762, 722, 1368,
         {"components": 18, "inconsistentEdges": 10, "degenerateTriangles": 56}),
        ("ur10_base.obj", 185, 185, 732,
         {"nonManifoldEdges": 549, "boundaryEdges": 0, "manifold": False}),
    ]
    for name, stored, welded, triangles, wanted in table:
        found = facts("info", DATA / name)
        same((found["vertices"], found["triangles"]), (stored, triangles), name)
        weld = facts("weld", DATA / name, "-o", folder / "welded.mesh")
        same(weld["before"]["vertices"], stored, name)
        info = facts("info", folder / "welded.mesh")
        wanted = wanted | {"vertices": welded, "triangles": triangles, "unusedVertices": 0}
        for key, value in wanted.items():
            same((weld[key], info[key]), (value, value), name, key)

    corners = [(2 * x, y, 4 * z - 1) for x, y, z in CUBE_CORNERS + [(9, 9, 9)]]
    cube = mesh_file(folder / "cube.mesh", corners, CUBE_FACES + [(0, 0, 1)])
    wanted = {"vertices": 9, "unusedVertices": 1, "degenerateTriangles": 1, "edges": 18, "genus": 0,
              "area": 28, "min": [0, 0, -1], "max": [18, 9, 35], "size": [18, 9, 36]}
    found = facts("info", cube)
    same({key: found[key] for key in wanted}, wanted)
    found = facts("info", cube_file(folder / "large.mesh", 6e38, -3e38))
    check_close(found["area"], 6 * 6e38 ** 2, 1e-6)
    check_close(found["size"][0], 6e38, 1e-6)
    text = run("info", cube).stdout.decode()
    check(re.search(r"\nunused vertices +1\n", text) and re.search(r"\ntotal +\d+\.\d\n", text), text)


# Every float and the order of vertices and triangles come back through every format.
def test_formats(folder):
    source = convert(awkward_mesh(folder / "awkward.mesh"), folder / "source.mesh")
    check(facts("info", source)["unusedVertices"] > 0, "no vertex is unused")
    vertices, triangles = read_mesh(source)
    for extension in ("obj", "off", "ply", "glb", "gltf"):
        back = convert(convert(source, folder / f"copy.{extension}"), folder / "back.mesh")
        check(back.read_bytes() == source.read_bytes(), extension, "changes the mesh")
    soup = read_mesh(convert(convert(source, folder / "copy.STL"), folder / "back.mesh"))
    same(soup[0], [vertices[v] for t in triangles for v in t], "stl")


# Normals keep vertices of a crease apart, in each format that has them, but only where each vertex
# has one.
def test_channels(folder):
    crease = folder / "crease.obj"
    positions = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 0\nv 1 0 0\nv 0 0 1\nv 8 8 8\n"
    normals = "vn 0 0 1\nvn 0 1 0\nvt 0 0\nvt 0.5 0.25\n"
    cases = [("f 1//1 2//1 3//1\nf -7//1 2//1 3//1\nf 4//2 5//2 6//2\n", 7),
             ("f 1//1 2//2 3//1\nf 1//2 2//1 3//1\nf 4//2 5//2 6//2\n", 5),
             ("f 1//1 2//1 3//9\nf 4//2 5//2 6//2\n", 5),
             ("f 1/1/1 2/1/1 3/2/1\nf 4/2/1 5/1/1 6/1/2\n", 6)]
    for faces, welded in cases:
        crease.write_text(positions + normals + faces)
        copies = [convert(crease, folder / f"copy.{kind}") for kind in ("ply", "glb", "obj")]
        for mesh in crease, *copies:
            same(facts("weld", mesh, "-o", folder / "out.mesh")["vertices"], welded, mesh, faces)


def test_polygons_are_fans(folder):
    corners = "0 0 0\n2 0 0\n2 1 0\n1 2 0\n0 1 0\n"
    obj = "".join(f"v {line}\n" for line in corners.splitlines())
    ply = ("ply\nformat ascii 1.0\nelement vertex 5\nproperty float x\nproperty float y\n"
           "property float z\nelement face 2\nproperty list uchar int vertex_indices\nend_header\n")
    faces = "5 0 1 2 3 4\n3 3 1 0\n"
    sources = {"a.obj": obj + "f 1 2 3 4 5\nf 4 2 1\nl 1 2\n",
               "b.obj": "f 1 2 3 4 5\nf 4 2 1\n" + obj,
               "a.ply": ply + corners + faces, "a.off": "OFF\n5 2 0\n" + corners + faces}
    for name, text in sources.items():
        (folder / name).write_text(text)
        triangles = read_mesh(convert(folder / name, folder / "fan.mesh"))[1]
        same(triangles, [(0, 1, 2), (0, 2, 3), (0, 3, 4), (3, 1, 0)], name)


def as_floats(points):
    return [struct.pack("fff", *p) for p in points]


# Encodings, number types, line ends, strips and things to pass over, all with one result.
def test_ply_variants(folder):
    header = ("ply\nformat {}\ncomment a b\nelement vertex 5\nproperty {} x\nproperty {} y\n"
              "property list uchar float extra\nproperty {} z\nelement none 999999999\n"
              "element {} {}\nproperty list {} {} vertex_indices\nproperty float shade\n"
              "end_header\n")
    first = struct.unpack("<f", b"\n\n\n?")[0]  # data that begins like an empty line
    points = [(first, 0.0, 0.0), (1.0, 0.0, 0.0), (0.0, 1.0, 0.5), (1.0, 1.0, 0.0), (0.1, 9.0, 0.0)]
    rows_of = {"face": ([(0, 1, 2), (0, 2, 4), (3, 2, 1)], [[0, 1, 2, 4], [3, 2, 1]]),
               "tristrips": ([(0, 1, 2), (2, 1, 3), (4, 0, 1)], [[0, 1, 2, 3, -1, 4, 0, 1]])}
    encodings = {"<": "binary_little_endian 1.0", ">": "binary_big_endian 1.0", "a": "ascii 1.0"}
    types = {"f": "float", "d": "float64", "B": "uint8", "i": "int", "h": "short", "H": "ushort",
             "I": "uint"}
    path = folder / "variant.ply"
    for name, order, real, size, index in (
            ("face", *"<fBi"), ("face", *"<dBh"), ("face", *">fiI"), ("face", *">dHi"), ("face", *"afBi"),
            ("tristrips", *"<dBh"), ("tristrips", *">dHi"), ("tristrips", *"adBi")):
        triangles, lists = rows_of[name]
        rows = [f"{real}{real}Bff{real}"] * 5 + [f"{size}{len(l)}{index}f" for l in lists]
        values = [(x, y, 2, 0.5, -0.5, z) for x, y, z in points] + [(len(l), *l, 0.25) for l in lists]
        if order == "a":
            body = "".join(" ".join(map(repr, row)) + "\n" for row in values).encode()
        else:
            body = b"".join(struct.pack(order + row, *v) for row, v in zip(rows, values))
        text = header.format(encodings[order], *[types[real]] * 3, name, len(lists), types[size],
                             types[index])
        for line_end in ("\n", "\r\n"):
            path.write_bytes(text.replace("\n", line_end).encode() + body)
            found = read_mesh(convert(path, folder / "variant.mesh"))
            same((as_floats(found[0]), found[1]), (as_floats(points), triangles), text)


# Corners come exactly as written, and a file without its end is refused.
def test_text_stl(folder):
    facet = ("  FACET normal 0 0 0\n outer loop\n vertex 1.100000e+00 2.3e-3 -3\n"
             " vertex 0 0.1 +2\n vertex 1 0 1.234567e-02\n endloop\nendfacet\r\n")
    path = folder / "text.stl"
    path.write_text(f"solid a # 1\n{facet}endsolid a\nsolid b\n{facet}{facet}endsolid b\n")
    found = read_mesh(convert(path, folder / "text.mesh"))
    corners = [(1.1, 2.3e-3, -3), (0, 0.1, 2), (1, 0, 1.234567e-2)]
    same(as_floats(found[0]), as_floats(3 * corners))
    same(found[1], [(0, 1, 2), (3, 4, 5), (6, 7, 8)])
    path.write_text(f"solid a\n{facet}")
    check_refused("text.stl:9: the file ends", "info", path)


# Several nodes with one mesh, one of them mirrored: all solids keep their outside outside.
def test_scenes_are_placed(folder):
    path = convert(cube_file(folder / "cube.mesh"), folder / "scene.gltf")
    scene = json.loads(path.read_text())
    scene["nodes"] = [{"mesh": 0}, {"children": [2], "translation": [10, 0, 0]},
                      {"mesh": 0, "scale": [-2, 1, 1]}]
    scene["scenes"][0]["nodes"] = [0, 1]
    path.write_text(json.dumps(scene))
    found = facts("info", path)
    same((found["components"], found["min"], found["max"]), (2, [0, 0, 0], [10, 1, 1]))
    vertices, triangles = read_mesh(convert(path, folder / "scene.mesh"))
    volumes = [0, 0]
    for t, (a, b, c) in enumerate([vertices[v] for v in triangle] for triangle in triangles):
        volumes[t // 12] += sum(a[i] * (b[i - 2] * c[i - 1] - b[i - 1] * c[i - 2]) for i in range(3)) / 6
    same([round(volume, 9) for volume in volumes], [1, 2])


# Counts made by independent code; the outline in which two cubes meet, six edges of the box they
# have in common, by each way to say where the second is.
def test_intersect(folder):
    for name, pairs in ("pig_soup.stl", 52), ("mannequin.mesh", 1581), ("spider.obj", 317):
        same(facts("intersect", DATA / name)["crossingPairs"], pairs, name)
    cube, segments, ply = (folder / name for name in ("cube.mesh", "segments.obj", "segments.ply"))
    cube_file(cube)
    turned = "0 -1 0 1.5\n1 0 0 .5\n0 0 1 .5\n"
    for transform, length in (("-.5,.5,+5e-1", 3), ("-0.4 .3 .2", 4.2), ("1 0 0 9 0 1 0 0 0 0 1 0", 0),
                              (turned, 3), (turned + "0 0 0 1", 3)):
        for output in segments, ply:
            found = facts("intersect", cube, cube, "--transform", transform, "-o", output)
        lines = [line.split() for line in segments.read_text().splitlines()]
        points = [tuple(map(float, line[1:])) for line in lines if line[0] == "v"]
        ends = [[points[int(v) - 1] for v in line[1:]] for line in lines if line[0] == "l"]
        n = len(ends)
        same(n, found["crossingPairs"], transform)
        for total in found["length"], sum(math.dist(*pair) for pair in ends):
            check_close(total, length, 1e-6, transform)
        for p in points:
            check(min(p) >= 0 and max(p) <= 1 and {0, 1} & set(p), p, "is off the cube")
        header, body = ply.read_bytes().split(b"end_header\n")
        check(b"vertex %d\n" % (2 * n) in header and b"edge %d\n" % n in header, header)
        same(body, struct.pack(f"{6 * n}f", *sum(points, ())) + struct.pack(f"{2 * n}i", *range(2 * n)))


# Real parts wound at random; a band that has one side only, which stays as it is while the square
# beside it is mended; a soup, which hangs together only by the places of its corners.
def test_orient(folder):
    out, band = folder / "out.mesh", folder / "band.mesh"
    for name, components in ("boeing.mesh", 1), ("spider.obj", 18), ("pig_soup.stl", 1):
        facts("weld", DATA / name, "-o", out)
        same(facts("orient", out, "-o", out)["orientedComponents"], components, name)
        same(facts("info", out)["oriented"], True, name)
    strip = [(i, (i + 1) % 7, (i + 2) % 7)[::1 - i % 2 * 2] for i in range(7)]
    square = [(7, 8, 9), (7, 8, 10)]
    mesh_file(band, [(math.cos(i), math.sin(2 * i), i % 3) for i in range(11)], strip + square)
    mended = strip + [(7, 8, 9), (7, 10, 8)]
    for flags in (), ("--reverse",):
        found = facts("orient", band, "-o", out, *flags)
        same([[c[k] for k in ("firstTriangle", "triangles", "flipped", "oriented")]
              for c in found["componentList"]], [[0, 7, 0, False], [7, 2, 1, True]], flags)
        same(found["inconsistentEdges"], 1, flags)
        same(read_mesh(out)[1], [(b, a, c) if flags else (a, b, c) for a, b, c in mended], flags)
    loose = [(0, 1, 0), (1, 0, 0), (0, 0, 0), (0, 1, 0), (1, 0, 0), (1, 1, 0)]
    mesh_file(band, loose, [(0, 1, 2), (3, 4, 5)])
    found = facts("orient", band, "-o", out)
    same((found["flippedTriangles"], found["components"]), (1, 1), "soup")


# One peak over a plane, the mean of whose neighbours is its foot; and a noisy plane, which both
# filters make flatter.
def test_smooth(folder):
    out, rng = folder / "out.mesh", random.Random(3)
    rough = sheet(folder / "rough.mesh", 2, lambda i, j: (2 * i, 2 * j, i == j == 0.5))
    found = facts("smooth", rough, "-o", out, "--laplacian", 1, "--fix-border")
    same([found[key] for key in ("movedVertices", "largestMove", "fixedVertices")], [1, 1, 8])
    same(read_mesh(out)[0], [(x, y, 0) for x in range(3) for y in range(3)])
    same(facts("smooth", rough, "-o", out, "--laplacian", 2)["movedVertices"], 9)
    noisy = sheet(folder / "noisy.mesh", 40, lambda i, j: (40 * i, 40 * j, rng.uniform(-0.1, 0.1)))
    for options in ("--laplacian", 3), ("--bilateral", 2, 2):
        facts("smooth", noisy, "-o", out, *options)
        heights = [math.hypot(*(z for _, _, z in read_mesh(path)[0])) for path in (noisy, out)]
        check(heights[1] < 0.5 * heights[0], options, heights)


# The distances are those that the other command finds; neither pieces nor holes are lost.
def test_reduce(folder):
    out = folder / "out.mesh"
    for name, loops, *goal in (("elephant_soup.stl", 0, "--fraction", 0.1),
                               ("lion_holes.mesh", 5, "--tolerance", 0.5)):
        found = facts("reduce", DATA / name, "-o", out, *goal, "--report")
        after = facts("info", out)
        same([after[key] for key in ("vertices", "triangles", "components", "nonManifoldEdges")],
             [found["vertices"], found["triangles"], 1, 0], name)
        same(len(after["boundaryLoops"]), loops, name)
        check(after["vertices"] <= (7000 if loops else 4446), name, after["vertices"])
        measured = facts("distance", DATA / name, out, "--symmetric")
        check(found["resultToInput"]["largest"] > measured["back"]["largest"], name)
        check_close(found["inputToResult"]["largest"], measured["largest"], 1e-6, name)
        check(measured["largest"] <= found.get("deviation", 1e9) * 1.000001, name, measured, found)


def test_distance(folder):
    near, far = cube_file(folder / "near.mesh"), cube_file(folder / "far.mesh", 3, -1)
    moved = mesh_file(folder / "moved.mesh", [(x + 3, y, z) for x, y, z in CUBE_CORNERS], CUBE_FACES)
    keys = "largest", "mean", "rootMeanSquare"
    found = facts("distance", near, far, "--symmetric")
    for name, got, wanted in (("there", found, 1), ("back", found["back"], 3 ** 0.5)):
        for key in keys:
            check_close(got[key], wanted, 1e-6, name, key)
    text, ply = folder / "out.txt", folder / "out.ply"
    for out in text, ply:
        found = facts("distance", near, moved, "-o", out)
        for key, wanted in zip(keys, (3, 2.5, 6.5 ** 0.5)):
            check_close(found[key], wanted, 1e-6, key)
    same(text.read_text().split(), ["3", "2"] * 4)
    same([p[3] for p in struct.iter_unpack("4f", ply.read_bytes().split(b"end_header\n")[1][:128])],
         [3, 2] * 4)
    same(read_mesh(convert(ply, folder / "back.mesh")), read_mesh(near))


def test_refusals(folder):
    mesh, nan, out = DATA / "patella.mesh", folder / "nan.mesh", folder / "out.ply"
    files = [
        ("range.mesh", "range.mesh:5: ", "3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1 3\n"),
        ("short.mesh", "short.mesh:5: ", "3 1\n0.0 0.0 0.0\n1 0 0\n0 1 0\n3 0 1"),
        ("nan.mesh", "nan.mesh: vertex 1 has", "3 1\n0 0 0\n1 nan 0\n0 1 0\n3 0 1 2\n"),
        ("none.mesh", "none.mesh: holds no triangles", "0 0\n"),
        ("range.obj", "triangle 0 has the vertex 3 of 3", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 4\n"),
        ("far.obj", "triangle 0 has the vertex -8 of 1", "v 0 0 0\nf 1 -9 2000000000\n"),
        ("nan.obj", "nan.obj:2: ", "v 0 0 0\nv nan 0 0\nv 0 1\nf 1 2 3\n"),
        ("inf.off", "inf.off: vertex 0 has a coord", "OFF\n1 1 0 # few\n1e-99 1e99 0\n3 0 0 0\n"),
        ("range.off", "triangle 0 has the vertex 7", "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n"),
        ("note.txt", "no known format", "a note\n"),
    ]
    for name, pattern, text in files:
        (folder / name).write_text(text)
        check_refused(pattern, "weld", folder / name, "-o", out)
    huge = mesh_file(folder / "huge.mesh", [(3e38, 3e38, 0), (0, 0, 0), (0, 1, 0)], [(0, 1, 2)])
    table = [
        ("subcommand is required",), ("no command polish", "polish"), ("--bogus", "info", mesh, "--bogus"),
        ("--threads", "info", mesh, "--threads", "0"), ("--output is required", "weld", mesh),
        ("missing.stl: No such file", "info", folder / "missing.stl"),
        ("no such directory", "weld", mesh, "-o", folder / "missing/out.ply"),
        ("is a directory", "weld", mesh, "-o", folder, "--format", "ply"),
        ("no format that can be written", "weld", mesh, "-o", folder / "out.fbx"),
        ("No space left", "weld", mesh, "-o", "/dev/full", "--format", "ply"),
        ("/dev/full cannot be written", "weld", mesh, "-o", "/dev/full", "--format", "mesh"),
        ("is a mesh that is read", "intersect", mesh, "-o", mesh),
        ("is a mesh that is read", "distance", nan, mesh, "-o", DATA / "../data" / mesh.name),
        ("--transform requires other", "intersect", mesh, "--transform", "0 0 1"),
        ("3, 12 or 16 numbers, not 2", "intersect", mesh, mesh, "--transform", "0 1"),
        ("'nan' is no number", "intersect", mesh, mesh, "--transform", "0 1 nan"),
        ("must be 0 0 0 1", "intersect", mesh, mesh, "--transform", 16 * "1 "),
        ("--laplacian", "smooth", mesh, "-o", out, "--laplacian", 0),
        ("1 option", "smooth", mesh, "-o", out, "--laplacian", 1, "--bilateral", 1),
        ("SIGMA must be", "smooth", mesh, "-o", out, "--bilateral", "nan", 1),
        ("1 option from", "reduce", mesh, "-o", out),
        ("--fraction", "reduce", mesh, "-o", out, "--fraction", 1.5),
        ("--tolerance", "reduce", mesh, "-o", out, "--tolerance", "nan"),
        ("nan.mesh: vertex 1 has", "rays", nan),
        ("too far apart", "distance", huge, mesh, "-o", out),
    ]
    for pattern, *args in table:
        check_refused(pattern, *args)
    check(not out.exists(), "a refused mesh leaves a file behind")
    with open("/dev/full", "w") as full:
        same(run("info", mesh, stdout=full).returncode, 2, "info > /dev/full")


# Cut or scrambled files of every format are refused in one line or read; nothing else.
def test_rubbish(folder):
    rng = random.Random(5)
    source = cube_file(folder / "cube.mesh")
    for extension in "mesh", "obj", "off", "stl", "ply", "glb", "gltf":
        whole = convert(source, folder / f"whole.{extension}").read_bytes()
        cut = folder / f"cut.{extension}"
        rubbish = [whole[:len(whole) * k // 4] for k in range(4)] + [rng.randbytes(999)]
        for content in rubbish:
            cut.write_bytes(content)
            done = run("info", cut)
            lines = done.stderr.splitlines()
            check(done.returncode == 2 and len(lines) == 1 or done.returncode == 0 and not lines,
                  extension, len(content), done)
            # A list of lines without a count can be cut without a trace.
            check(done.returncode == 2 or extension == "obj", extension, len(content), "is read")


def test_output_is_whole_or_untouched(folder):
    source, target, link = DATA / "pig_soup.stl", folder / "out.mesh", folder / "link.mesh"
    target.write_text("precious")
    target.chmod(0o640)
    link.symlink_to("out.mesh")
    check_refused("No such file", "weld", folder / "missing.stl", "-o", target)
    # More than so many bytes cannot be written then, which does not kill.
    done = run("weld", source, "-o", target, restore_signals=False,
               preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (9999, 9999)))
    check(done.returncode == 2 and b"not all of it was taken" in done.stderr, done)
    same((target.read_text(), sorted(os.listdir(folder))), ("precious", ["link.mesh", "out.mesh"]))
    facts("weld", source, "-o", link)
    check(link.is_symlink() and stat.S_IMODE(target.stat().st_mode) == 0o640, "link or mode is lost")
    same(facts("info", target)["vertices"], 8642)

    once = target.read_bytes()
    facts("weld", target, "-o", target)
    check(target.read_bytes() == once, "welding in place changes a welded mesh")
    done = run("weld", source, "-o", "/dev/stdout", "--format", ".mesh")
    check(done.stdout == once and b"milliseconds" in done.stderr, "standard output")
    for threads in ("1", "2", "7"):
        facts("weld", source, "-o", target, "--threads", threads)
        check(target.read_bytes() == once, threads, "threads")
    same(sorted(os.listdir(folder)), ["link.mesh", "out.mesh"])


def check_interrupt(wish, *args, reads=False):
    process = subprocess.Popen([PROGRAM, *map(str, args)], stderr=subprocess.PIPE)
    reader = Path(f"/proc/{process.pid}/task/{process.pid}/children")
    time.sleep(0 if reads else 0.5)
    while reads and process.poll() is None and not reader.read_text():
        time.sleep(0.001)
    process.send_signal(wish)
    same((process.communicate()[1], process.returncode), (b"", 130), wish, args)


# While reading, which is done by a child, while computing, and while it hangs on a pipe that nobody
# reads.
def test_interrupt(folder):
    target, fifo, small = folder / "out.ply", folder / "fifo", DATA / "spider.obj"
    target.write_text("precious")
    os.mkfifo(fifo)
    large = large_off(folder)
    for wish in (signal.SIGINT, signal.SIGTERM):
        check_interrupt(wish, "weld", large, "-o", target, reads=True)
    check_interrupt(signal.SIGINT, "rays", small, "--rays", 50_000_000)
    for extension in ("ply", "mesh"):
        check_interrupt(signal.SIGINT, "weld", small, "-o", fifo, "--format", extension)
    same(target.read_text(), "precious")
    same(sorted(os.listdir(folder)), ["fifo", "large.mesh", "large.off", "out.ply"])


# The bar is for terminals alone, --verbose for the library's lines; help has examples.
def test_what_is_told(folder):
    large = large_off(folder)
    ours, theirs = pty.openpty()
    done = run("info", large, stderr=theirs)
    os.close(theirs)
    told = b""
    with contextlib.suppress(OSError):  # the end of a terminal is an error
        while chunk := os.read(ours, 4096):
            told += chunk
    check(re.match(rb"\r\[=* +\] +\d+ %  \w+\x1b\[K.*\r\x1b\[K$", told, re.S), told)
    same(done.returncode, 0)
    same(run("info", large).stderr, b"")

    told = run("weld", DATA / "spider.obj", "-o", folder / "out.ply", "--verbose").stderr
    check(told.startswith(b"meshCompact: 762 vertices, 1368 triangles\n"), told)
    for command in re.findall(r"^  qvmesh (\w+)", run("--help").stdout.decode(), re.M):
        check(f"Examples:\n  qvmesh {command}" in run(command, "--help").stdout.decode(), command)


def run_tests(functions):
    for test in sys.argv[3:]:
        with tempfile.TemporaryDirectory() as created:
            functions[f"test_{test}"](Path(created))


if __name__ == "__main__":
    run_tests(globals())
