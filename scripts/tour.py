#!/usr/bin/env python3
"""Takes real meshes through the program: tour.py PROGRAM OUTPUT_DIRECTORY."""

import html
import json
import subprocess
import sys
from pathlib import Path

SOUP = "data/elephant_soup.stl"
MASK = "data/masks_holes.mesh"
SPIDER = "data/spider.obj"
FRACTIONS = [0.5, 0.1, 0.02]
ELEPHANT_VIEW = ["--view", "3,1,-2", "--size", "560x560"]
MASK_VIEW = ["--view", "0.5,2,-0.4", "--up", "0,0,-1", "--size", "560x560"]
SPIDER_VIEW = ["--size", "1100x700"]

PAGE = """<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Meshes put in order</title>
<style>
body {{ font: 16px/1.5 system-ui, sans-serif; color: #282c34; max-width: 1180px; margin: 2em auto; padding: 0 1em; }}
h1 {{ font-size: 1.5em; }} h2 {{ font-size: 1.15em; margin-top: 2em; }}
table {{ border-collapse: collapse; }}
th, td {{ padding: 0.25em 1em; border-bottom: 1px solid #ddd; text-align: right; font-variant-numeric: tabular-nums; }}
th:first-child, td:first-child {{ text-align: left; }}
.row {{ display: flex; flex-wrap: wrap; gap: 1em; }}
figure {{ margin: 0; flex: 1 1 260px; max-width: 560px; }}
.row figure:only-child {{ max-width: 860px; }}
img {{ width: 100%; border: 1px solid #ddd; }}
figcaption {{ font-size: 0.9em; color: #555; }}
</style>
</head>
<body>
<h1>Meshes put in order</h1>
{body}
</body>
</html>
"""


def qvmesh(program, *arguments):
    """Runs one command and returns what it reports."""
    command = [program, *map(str, arguments), "--json"]
    return json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout)


def milliseconds(report, stage):
    return 1e3 * sum(s["seconds"] for s in report["stages"] if s["name"] == stage)


def welded(program, out):
    """Makes the soup one surface; returns its file, its row of the table and what to say of it."""
    target = out / "elephant_welded.ply"
    report = qvmesh(program, "weld", SOUP, "-o", target)
    text = (
        f"{SOUP}: {report['before']['vertices']:,} loose corners become"
        f" {report['vertices']:,} vertices of a {'closed' if report['closed'] else 'open'}"
        f" surface of genus {report['genus']}"
    )
    row = [target, report["vertices"], report["triangles"], milliseconds(report, "weld")]
    return target, row, text


def reduced(program, mesh, fraction, out):
    """Reduces the mesh; returns its row of the table."""
    target = out / f"elephant_{100 * fraction:g}_percent.ply"
    report = qvmesh(program, "reduce", mesh, "-o", target, "--fraction", fraction, "--report")
    ways = report["inputToResult"], report["resultToInput"]
    return [
        target,
        report["vertices"],
        report["triangles"],
        milliseconds(report, "reduce"),
        max(way["rootMeanSquare"] for way in ways),
        max(way["largest"] for way in ways),
    ]


def cells(row):
    """The texts of a row of the table."""
    file, vertices, triangles, time, *distances = row
    texts = [str(file), f"{vertices:,}", f"{triangles:,}", f"{time:.1f}"]
    return texts + [f"{distance:.6f}" for distance in distances]


HEADINGS = ["file", "vertices", "triangles", "ms", "rms", "largest"]


def print_table(rows):
    """Distances are measured both ways, in units of the model, which is 1 long."""
    for first, *others in [HEADINGS] + [cells(row) for row in rows]:
        print(f"{first:32}" + "".join(f"{text:>12}" for text in others))


def html_table(rows):
    lines = []
    for kind, texts in [("th", HEADINGS)] + [("td", cells(row)) for row in rows]:
        texts += [""] * (len(HEADINGS) - len(texts))
        lines.append("<tr>" + "".join(f"<{kind}>{html.escape(t)}</{kind}>" for t in texts) + "</tr>")
    return "<table>\n" + "\n".join(lines) + "\n</table>"


def figures(pictures):
    """Pictures side by side: pairs of a file in the folder of the page and what it shows."""
    return '<div class="row">\n' + "\n".join(
        f'<figure><img src="{picture.name}" alt="{html.escape(text)}"><figcaption>{html.escape(text)}</figcaption></figure>'
        for picture, text in pictures) + "\n</div>"


def elephant_pictures(program, mesh, rows, out):
    """Draws the stages, and the welded surface coloured by its distance from those reduced."""
    few = {fraction: row for fraction, row in zip(FRACTIONS, rows[1:]) if fraction < 0.5}
    scale = float(f"{max(row[5] for row in few.values()) / 2:.0e}")  # few places are farther away
    stages, deviations = [], []

    def render(name, *arguments):
        picture = out / name
        qvmesh(program, "render", *arguments, "-o", picture, *ELEPHANT_VIEW)
        return picture

    stages.append((render("elephant_soup.png", SOUP), "The soup: it looks whole, but every triangle stands alone"))
    stages.append((render("elephant_welded.png", mesh), "Welded: one closed surface"))
    for fraction, row in few.items():
        name, percent = row[0].stem, f"{100 * fraction:g} %"
        stages.append((render(f"{name}.png", row[0], "--shading", "flat", "--edges"),
                       f"Reduced to {percent} of the vertices"))
        deviations.append((
            render(f"{name}_deviation.png", mesh, "--distance", row[0], "--scale", scale),
            f"How far the welded surface is from that with {percent}"))
    return figures(stages), figures(deviations)


def flattened(program, out):
    """Lays the mask out in the plane; returns its pictures and what to say of it."""
    layout, picture = out / "mask_layout.png", out / "mask.png"
    report = qvmesh(program, "flatten", MASK, "-o", out / "mask.obj", "--picture", layout)
    qvmesh(program, "render", MASK, "-o", picture, *MASK_VIEW)
    text = (
        f"{MASK}: {report['triangles']:,} triangles laid out in the plane in"
        f" {milliseconds(report, 'flatten'):.0f} ms, angles {report['meanAngleError']:.1f} degrees"
        f" off in the mean, {report['flippedTriangles']} upside down"
    )
    return figures([(picture, "A mask with six holes"),
                    (layout, "The same, laid out: the colours tell how much triangles have grown"
                             " or shrunk beside the mean")]), text


def crossed(program, out):
    """Looks for crossings in the spider; returns its picture and what to say of it."""
    picture = out / "spider.png"
    report = qvmesh(program, "render", SPIDER, "-o", picture, "--crossings", "--edges", *SPIDER_VIEW)
    text = (
        f"{SPIDER}: {report['crossingTriangles']:,} of {report['triangles']:,} triangles pass through others,"
        f" in {report['crossingPairs']:,} pairs"
    )
    return figures([(picture, "Triangles that cross others, and where they do")]), text


def main():
    program, out = sys.argv[1], Path(sys.argv[2])
    out.mkdir(exist_ok=True)
    mesh, row, welding = welded(program, out)
    print(welding)
    rows = [row] + [reduced(program, mesh, fraction, out) for fraction in FRACTIONS]
    print_table(rows)
    stages, deviations = elephant_pictures(program, mesh, rows, out)
    layout, flattening = flattened(program, out)
    print(flattening)
    crossings, crossing = crossed(program, out)
    print(crossing)
    body = [f"<p>{html.escape(welding)}.</p>", html_table(rows),
            "<p>Times are those of the operation alone. Distances are measured both ways, in units of the model,"
            " which is 1 long.</p>",
            "<h2>From soup to 2 %</h2>", stages, "<h2>What was lost</h2>", deviations,
            "<h2>Laid out in the plane</h2>", f"<p>{html.escape(flattening)}.</p>", layout,
            "<h2>Where a mesh passes through itself</h2>", f"<p>{html.escape(crossing)}.</p>", crossings]
    (out / "index.html").write_text(PAGE.format(body="\n".join(body)))
    print(f"pictures: {out / 'index.html'}")


main()
