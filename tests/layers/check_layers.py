#!/usr/bin/env python3
"""Checks that the library's includes point one way: check_layers.py <source directory>."""

import re
import sys
from graphlib import CycleError, TopologicalSorter
from pathlib import Path

# Lowest first. A folder may include itself and every folder of an earlier row, none of its own row.
LAYERS = [
    ["foundation/base"],
    ["foundation/linear"],
    ["foundation/geometry"],
    ["planar", "topology", "io"],
    ["editing", "spatial"],
    ["foundation/cache"],  # foundation's one room above the tables it keeps
    ["cutting"],
    ["improvement", "view", "parameterization"],
]
RANK = {folder: rank for rank, row in enumerate(LAYERS) for folder in row}

# (file without suffix, included file without suffix)
EXCEPTIONS = {("topology/GeomOrientation", "editing/GeomSelection")}

# Neither is installed. A folder's detail/ is its own, its internal/ is for other folders too.
PRIVATE_FOLDERS = ("detail", "internal")

# The standard library's have no suffix.
SYSTEM_HEADER = re.compile(r"[a-z_]+|(emmintrin|immintrin|locale|pthread|sched|sys/mman|sys/stat)\.h")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def folder_of(path):
    """The layer table's name for the folder of a file given relative to qvGeom/."""
    return str(path.parent.parent if path.parent.name in PRIVATE_FOLDERS else path.parent)


def fault_of(file, bracket, name):
    """What is wrong with one include, or None. `file` is relative to qvGeom/."""
    if bracket == "<":
        return None if SYSTEM_HEADER.fullmatch(name) else "is neither a standard nor a system header"
    if not name.startswith("qvGeom/"):
        return "is not written from qvGeom/ on"
    target = Path(name).relative_to("qvGeom")
    if str(target) == "Export.h":
        return None
    own, other = folder_of(file), folder_of(target)
    if other not in RANK:
        return f"names the folder {other}, which has no place in the layer table"
    if target.parent.name == "detail" and own != other:
        return "is private to its folder"
    is_public = file.suffix == ".h" and file.parent.name not in PRIVATE_FOLDERS
    if target.parent.name in PRIVATE_FOLDERS and is_public:
        return "is not installed, so a public header cannot use it"
    if own == other or RANK[other] < RANK[own]:
        return None
    if (str(file.with_suffix("")), str(target.with_suffix(""))) in EXCEPTIONS:
        return None
    return f"points up or sideways: {own} may not use {other}"


def check(source):
    """All faults below `source`/qvGeom, one line each, and the number of files read."""
    root = Path(source) / "qvGeom"
    faults, includes = [], {}
    files = sorted(f for f in root.rglob("*") if f.suffix in (".h", ".cpp"))
    for path in files:
        file = path.relative_to(root)
        if folder_of(file) not in RANK and str(file) != "Export.h":
            faults.append(f"{file}: its folder has no place in the layer table")
            continue
        for number, line in enumerate(path.read_text().splitlines(), 1):
            if match := INCLUDE.match(line):
                bracket, name = match.groups()
                if fault := fault_of(file, bracket, name):
                    faults.append(f"{file}:{number}: {name} {fault}")
                includes.setdefault(f"qvGeom/{file}", []).append(name)
    try:
        TopologicalSorter(includes).prepare()
    except CycleError as error:
        faults.append("headers include each other: " + " -> ".join(reversed(error.args[1])))
    return faults, len(files)


def main():
    faults, num_files = check(sys.argv[1])
    for fault in faults:
        print(fault)
    if num_files == 0:
        sys.exit(f"no sources below {sys.argv[1]}/qvGeom")
    print(f"{num_files} files, {len(faults)} faults")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
