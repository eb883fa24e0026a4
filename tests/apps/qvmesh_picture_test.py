"""Runs the commands about layouts and views: qvmesh_picture_test.py PROGRAM DATA_FOLDER TEST..."""

import math
import struct
import sys
import zlib

sys.dont_write_bytecode = True  # beside the sources
from qvmesh_test import (CUBE_CORNERS, CUBE_FACES, DATA, ball, check, check_close, check_refused,
                         convert, cube_file, facts, mesh_file, read_mesh, run_tests, same, sheet)

WHITE, RED = (255, 255, 255), (214, 40, 40)


# The rows of a picture with three bytes per pixel.
def read_png(path):
    data, at, packed = path.read_bytes(), 8, b""
    same(data[:8], b"\x89PNG\r\n\x1a\n", path)
    while at < len(data):
        size, kind = struct.unpack(">I4s", data[at:at + 8])
        if kind == b"IHDR":
            width, height, *form = struct.unpack(">IIBBBBB", data[at + 8:at + 21])
            same(form, [8, 2, 0, 0, 0], path)
        packed += data[at + 8:at + 8 + size] if kind == b"IDAT" else b""
        at += size + 12
    raw, rows, before = zlib.decompress(packed), [], bytes(3 * width)
    for y in range(height):
        filtered, row = raw[y * (3 * width + 1):(y + 1) * (3 * width + 1)], bytearray()
        for x, byte in enumerate(filtered[1:]):
            a, b, c = (row[x - 3], before[x], before[x - 3]) if x > 2 else (0, before[x], 0)
            nearest = min((abs(b - c), 0, a), (abs(a - c), 1, b), (abs(a + b - 2 * c), 2, c))[2]
            row.append((byte + (0, a, b, (a + b) // 2, nearest)[filtered[0]]) % 256)
        rows.append([tuple(row[x:x + 3]) for x in range(0, len(row), 3)])
        before = row
    return rows


# Positions, UVs, the triangles by their indices, and the names of groups.
def read_obj(path):
    positions, uvs, triangles, groups = [], [], [], []
    for kind, *words in map(str.split, path.read_text().splitlines()):
        if kind == "f":
            corners = [word.split("/") for word in words]
            check(all(c[0] == c[1] for c in corners), "one texture coordinate for each vertex")
            triangles.append(tuple(int(c[0]) - 1 for c in corners))
        elif kind == "g":
            groups.append(words)
        else:
            {"v": positions, "vt": uvs}[kind].append(tuple(map(float, words)))
    same(len(uvs), len(positions), path)
    return positions, uvs, triangles, groups


def turned(a, b, c):
    return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0])


# A torus, of which the sides of the sheet lie at the same places.
def ring(i, j):
    a, b = 2 * math.pi * (i % 1), 2 * math.pi * (j % 1)
    return ((3 + math.cos(b)) * math.cos(a), (3 + math.cos(b)) * math.sin(a), math.sin(b))


# A flat sheet comes back as it is; closed surfaces are cut, also where the cut does not change the
# number of boundaries, and no layout folds over. The mesh keeps its place in space.
def test_flatten(folder):
    source, out, picture = folder / "in.mesh", folder / "out.obj", folder / "out.png"
    cases = [("sheet", sheet, 10, lambda i, j: (2 * i - j, i + 2 * j, 4), {(3, 4), (6, 6)}),
             ("cube far away", cube_file, 1, 1e7), ("torus with a hole", sheet, 12, ring, {(5, 5)})]
    for name, write, *arguments in cases:
        vertices, faces = read_mesh(write(source, *arguments))
        found = facts("flatten", source, "-o", out, "--picture", picture)
        positions, uvs, triangles, _ = read_obj(out)
        is_cut = name != "sheet"
        check(found["flippedTriangles"] == 0 and (found["copies"] > 0) == is_cut, name, found)
        check(len({turned(*(uvs[v] for v in t)) > 0 for t in triangles}) == 1, name, "folds over")
        check(min(map(min, uvs)) == 0 and max(map(max, uvs)) == 1, name, "is not as large as can be")
        shape = [[positions[v] for v in t] for t in triangles]
        copy = out
        for extension in "ply", "glb", "obj":  # which index texture coordinates in other ways
            copy = convert(copy, folder / f"copy.{extension}")
        same(shape, [[positions[v] for v in t] for t in read_obj(copy)[2]], name)
        for corners, face in zip(shape, faces):
            check(all(math.dist(p, vertices[v]) < 1e-6 for p, v in zip(corners, face)), name)
        if not is_cut:
            check(found["largestAngleError"] < 0.1, found)
            rows = read_png(picture)
            same((len(rows), len(rows[0])), (1020, 1120))
            mean = (246, 244, 240)  # the colour of what is neither shrunk nor stretched
            check(mean in rows[400][200:900], name, rows[400][::50])
    check_refused("cut open, as it has handles", "flatten", source, "-o", out, "--no-cut")
    check_refused("no format that can be written", "flatten", source, "-o", folder / "out.stl")
    for name, reason in (("spider.obj", "two corners"), ("ur10_base.obj", "three or more"),
                         ("boeing.mesh", "not wound alike"), ("pig_soup.stl", "single vertices"),
                         ("patella.mesh", "is closed")):
        check_refused(reason, "flatten", DATA / name, "-o", out, "--no-cut")
    # Not welded, the sides of the sheet stay open, and nothing is left to cut.
    sheet(source, 12, ring)
    same(facts("flatten", source, "-o", out, "--no-cut", "--no-compact")["copies"], 0)


# Charts stay as large beside each other as they were, apart and inside the square.
def test_pack(folder):
    sizes, files = [(1, 0.5), (0.25, 0.75), (0.5, 0.5), (0.1, 0.1)], []
    for i, (u, v) in enumerate(sizes):
        path = folder / f"chart {i}.obj"
        path.write_text(f"v 0 0 0\nv {u} 0 0\nv 0 {2 * v} 0\nvt 3 7\nvt {3 + u} 7\nvt 3 {7 + v}\n"
                        "f 1/1 2/2 3/3\n")
        files.append(path)
    out, picture = folder / "all.obj", folder / "all.png"
    for options in [], ["--by-surface", "--margin", 0], ["--margin", 0.1]:
        facts("pack", *files, "-o", out, "--picture", picture, *options)
        positions, uvs, triangles, groups = read_obj(out)
        same((len(triangles), groups), (4, [[f"chart_{i}"] for i in range(4)]), options)
        boxes = []
        for triangle, (u, v) in zip(triangles, sizes):
            a, b, c = (uvs[i] for i in triangle)
            boxes.append((a[0], a[1], b[0], c[1]))
            check_close((c[1] - a[1]) / (b[0] - a[0]), v / u, 1e-5, options)
            check_close(positions[triangle[2]][1], 2 * v, 1e-6, options)
        check_close((boxes[1][3] - boxes[1][1]) / (boxes[0][3] - boxes[0][1]), 1.5, 1e-5, options)
        for i, a in enumerate(boxes):
            check(min(a) >= 0 and max(a) <= 1 and (min(a) > 0 or 0 in options), options, a)
            for b in boxes[:i]:
                check(a[0] >= b[2] or b[0] >= a[2] or a[1] >= b[3] or b[1] >= a[3], options, a, b)
    rows = read_png(picture)
    for (x, y, far, top), colour in zip(boxes, ((141, 190, 214), (244, 177, 131))):
        x, y = (3 * x + far) / 4, (3 * y + top) / 4
        same(rows[int(990 - 960 * y)][int(30 + 960 * x)], colour)
    plain = convert(files[0], folder / "plain.off")
    check_refused("has no texture coordinates", "pack", files[0], plain, "-o", out)


# How many pixels are drawn on.
def covered(rows):
    return sum(pixel != WHITE for row in rows for pixel in row)


def near(pixel, colour, tolerance=40):
    return math.dist(pixel, colour) < tolerance


# A square seen from the front fills 0.92 of the height, with clean edges; so does a ball, as far as
# a disk is round. What is highlighted is where it belongs, and hidden when behind.
def test_render(folder):
    source, picture = folder / "in.mesh", folder / "out.png"

    def render(*options, view="0,0,1"):
        facts("render", source, "-o", picture, "--view", view, "--size", "200x100", *options)
        return read_png(picture)

    sheet(source, 4, lambda i, j: (i, j, 1000))
    rows = render()
    same((len(rows), {len(row) for row in rows}), (100, {200}))
    check_close(covered(rows), 92 * 92, 0.03, "square")
    check(all(near(rows[y][x], rows[50][101], 25) for x in (56, 143) for y in (7, 93)), "not even")
    front, back = rows[50][100], render(view="0,0,-1")[50][100]
    check(front[0] > front[2] and back[2] > back[0], "sides look alike", front, back)
    borders = render("--borders")[50]
    check(near(borders[54], RED) and not near(borders[100], RED), "border")
    check(render("--edges")[50][100] != front, "edges")
    for y in range(1, 99):
        same(near(rows[y][100], front, 25), 4 <= y < 96, y, rows[y][100])

    other = sheet(folder / "other.mesh", 1, lambda i, j: (i, j, 1000 + i))
    middle = render("--distance", other, "--scale", 1)[50]  # beside a scale of 110 pixels
    hue = [(pixel[0] - pixel[2]) / (sum(pixel) + 1) for pixel in middle[6:84]]
    check(hue[0] < -0.1 and hue[-1] > 0.2, "distances", hue)

    sheet(source, 40, ball(1e-7))
    check_close(covered(render("--shading", "flat")), math.pi * 46 ** 2, 0.05, "ball")

    # Two sheets that cross in the middle, and a third one before the left half.
    flat, steep = [(0, 0, 0), (2, 0, 0), (2, 2, 0), (0, 2, 0)], [(0, 1, -1), (2, 1, -1), (2, 1, 1), (0, 1, 1)]
    cover = [(0, 0, 3), (1, 0, 3), (1, 2, 3), (0, 2, 3)]
    for sheets, left in ((flat + steep, True), (flat + steep + cover, False)):
        mesh_file(source, sheets, [(i, i + k, i + k + 1) for i in range(0, len(sheets), 4) for k in (1, 2)])
        rows = render("--crossings")
        pink = [[near(rows[y][x], (190, 60, 190), 100) for x in (80, 130)] for y in range(100)]
        check(any(right for _, right in pink) and any(l for l, _ in pink) == left, "crossings", left)


# The point under a pixel by the rule of three; a cube within another is not seen.
def test_visible_and_pick(folder):
    source, out = folder / "in.mesh", folder / "out.mesh"
    sheet(source, 7, lambda i, j: (j, i, 5))
    view = ["--view", "0,0,1", "--size", "300x200"]
    for x, y in ((150, 100), (60, 10), (239, 190), (101, 57)):
        found = facts("pick", source, x, y, *view)
        wanted = (0.5 + (x + 0.5 - 150) / 184, 0.5 - (y + 0.5 - 100) / 184, 5)
        check(found["hit"] and math.dist(found["point"], wanted) < 1e-5, (x, y), found, wanted)
        vertices, triangles = read_mesh(source)
        same(tuple(found["corners"]), triangles[found["triangle"]])
        mean = [sum(w * vertices[v][k] for w, v in zip(found["weights"], found["corners"])) for k in range(3)]
        check(min(found["weights"]) >= -1e-6 and math.dist(mean, wanted) < 1e-5, (x, y), found)
    same(facts("pick", source, 50, 100, *view)["hit"], False)

    cubes = [tuple(size * (c - 0.5) for c in p) for size in (1, 3) for p in CUBE_CORNERS]
    faces = [tuple(v + first for v in face) for first in (0, 8) for face in CUBE_FACES]
    mesh_file(source, cubes, faces)
    same(facts("visible", source, "-o", out)["triangles"], 12)
    same(sorted(read_mesh(out)[0]), sorted(cubes[8:]))
    inside = ["--select", "120 70 180 130", *view]  # one piece alone is kept
    same(facts("visible", source, "-o", out, *inside)["selectedTriangles"], 12)
    same(sorted(read_mesh(out)[0]), sorted(cubes[:8]))
    picture = folder / "out.png"
    picture.write_text("precious")
    render = ["render", source, "-o", picture]
    for pattern, *args in (
            ("begins there", "visible", source, "-o", out, "--select", "1 1 2 2"),
            ("takes 4 numbers, not 3", "visible", source, "-o", out, "--select", "1 1 2"),
            ("not in the picture", "pick", source, 1000, 0), ("no direction", "pick", source, 0, 0, "--up", "0,0,0"),
            ("no size like", *render, "--size", "9"), ("must be from 16", *render, "--size", "8000x8000"),
            ("takes 3 numbers", *render, "--view", "1,2"), ("is a mesh that is read", *render, "--distance", picture),
            ("No such file", *render, "--distance", folder / "none.ply"),
            ("can be written", "render", source, "-o", folder / "out.jpg")):
        check_refused(pattern, *args)
    same(picture.read_text(), "precious")
    mesh_file(source, [(1, 1, 1)] * 3, [(0, 1, 2)])
    check_refused("nothing to see", *render)


# Rays through the box of a cube all hit it; the share of a picture that a ball fills, however small
# its triangles.
def test_rays(folder):
    cube = facts("rays", cube_file(folder / "cube.mesh"), "--rays", 4000)["random"]
    same({cube[key] for key in ("rays", "hits", "anyHits", "packetHits")}, {4000})
    source = sheet(folder / "ball.mesh", 60, ball(1e-3))
    runs = [facts("rays", source, "--rays", 100000, "--seed", seed) for seed in (7, 7, 8)]
    for key in "hits", "anyHits", "packetHits":
        check_close(runs[0]["camera"][key] / runs[0]["camera"]["rays"], math.pi / 13, 0.01, key)
        hits = [run["random"][key] for run in runs]
        check(hits[0] == hits[1] != hits[2] and 0 < hits[0] < 100000, key, hits)


if __name__ == "__main__":
    run_tests(globals())
