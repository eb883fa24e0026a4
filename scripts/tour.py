#!/usr/bin/env python3
"""Takes a scan through the program: tour.py PROGRAM OUTPUT_DIRECTORY."""

import json
import subprocess
import sys
from pathlib import Path

SOUP = "data/elephant_soup.stl"
FRACTIONS = [0.5, 0.1, 0.02]


def qvmesh(program, *arguments):
    """Runs one command and returns what it reports."""
    command = [program, *map(str, arguments), "--json"]
    return json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout)


def milliseconds(report, stage):
    return 1e3 * sum(s["seconds"] for s in report["stages"] if s["name"] == stage)


def welded(program, out):
    """Makes the soup one surface; returns its file and its row of the table."""
    target = out / "elephant_welded.ply"
    report = qvmesh(program, "weld", SOUP, "-o", target)
    print(
        f"{SOUP}: {report['before']['vertices']:,} loose corners become"
        f" {report['vertices']:,} vertices of a {'closed' if report['closed'] else 'open'}"
        f" surface of genus {report['genus']}"
    )
    return target, [target, report["vertices"], report["triangles"], milliseconds(report, "weld")]


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


def print_table(rows):
    """Distances are measured both ways, in units of the model, which is 1 long."""
    print(f"{'file':32}{'vertices':>10}{'triangles':>11}{'ms':>8}{'rms':>12}{'largest':>12}")
    for file, vertices, triangles, time, *distances in rows:
        print(f"{str(file):32}{vertices:>10,}{triangles:>11,}{time:>8.1f}", end="")
        print("".join(f"{distance:>12.6f}" for distance in distances))


def main():
    program, out = sys.argv[1], Path(sys.argv[2])
    out.mkdir(exist_ok=True)
    mesh, row = welded(program, out)
    print_table([row] + [reduced(program, mesh, fraction, out) for fraction in FRACTIONS])


main()
